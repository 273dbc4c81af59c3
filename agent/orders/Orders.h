#pragma once

#include "agent/base/Log.h"
#include "agent/orders/OrderStore.h"
#include "platform/zet/Clock.h"

#include <string>
#include <string_view>

namespace Ufdd {

// The orders that stand, and the latches, each kept for the next ufdd. Ends orders when their time
// is over, and tells once an hour of those that stand. Times are those of Zet::now().
class Orders {
 public:
   // Borrows: both.
   Orders( OrderStore& store, Log& log ) : store_( store ), log_( log ) {}

   // Reads what was recorded.
   void recall();
   OrderBook const& book() const { return book_; }
   // Records the book, then makes it this one. Returns an errno value; unless that is 0, nothing
   // has changed.
   int bookIs( OrderBook book );
   // Makes these the latches. They are in force even while they can't be recorded: that is logged,
   // and tried again every second.
   void latchesAre( OrderBook::Latches latches );
   // Drops the entries about groups and ports for which the predicates return false, and logs each.
   template < class IsGroup, class IsPort > void keepOnly( IsGroup isGroup, IsPort isPort );

   // Returns true if an order's time is over.
   bool hasOver() const { return endTime_ != never && Zet::now() >= endTime_; }
   // Drops the orders whose time is over, and logs each.
   void endOver( double now );
   // Logs the orders that stand, once an hour. Tries again what could not be recorded.
   void endTurn();
   // When one of these two has something to do; `never` if not before the next change.
   double nextTime() const;
   // Records all again if the record was removed.
   void checkRecord();
   std::string place() const { return store_.place(); }

 private:
   static constexpr double reminderSeconds = 3600;
   static constexpr double retrySeconds = 1;

   // For changes that can't be refused.
   void change( OrderBook book );
   void handleBook();
   void record();
   void line( std::string_view target, std::string_view name, std::string const& text );
   template < class IsDropped >
   void drop( OrderBook::Orders& orders, std::string_view target, std::string const& why,
              IsDropped isDropped );

   OrderStore& store_;
   Log& log_;
   OrderBook book_;
   double endTime_ = never; // Of the order that ends first.
   double reminderAt_ = never;
   double retryAt_ = never; // Set while the record is not as the book.
};

// "ordered down by uid 0 since 2026-03-01 12:30:00.123, until 2026-03-01 14:30:00.123: new switch"
std::string orderText( Order const& order );

template < class IsDropped >
void
Orders::drop( OrderBook::Orders& orders, std::string_view target, std::string const& why,
              IsDropped isDropped ) {
   std::erase_if( orders, [ & ]( auto const& entry ) {
      auto const& [ name, order ] = entry;
      bool const isOut = isDropped( name, order );
      if ( isOut )
         line( target, name, orderText( order ) + "; this order " + why );
      return isOut;
   } );
}

template < class IsGroup, class IsPort >
void
Orders::keepOnly( IsGroup isGroup, IsPort isPort ) {
   OrderBook book = book_;
   std::string const why = "is dropped: the configuration does not name it any more";
   drop( book.groups, "group", why,
         [ & ]( std::string const& name, Order const& ) { return !isGroup( name ); } );
   drop( book.ports, "port", why,
         [ & ]( std::string const& name, Order const& ) { return !isPort( name ); } );
   std::erase_if( book.latches, [ & ]( auto const& latch ) { return !isGroup( latch.first ); } );
   change( std::move( book ) );
}

} // namespace Ufdd
