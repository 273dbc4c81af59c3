#include "agent/orders/Orders.h"

#include "agent/base/WallTime.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace Ufdd {

std::string
orderText( Order const& order ) {
   Moment const now = Moment::now();
   return std::string( order.kind == OrderKind::disable ? "disabled" : "ordered down" ) +
          " by uid " + std::to_string( order.uid ) + " since " +
          localTime( now.wallAt( order.since ) ) +
          ( order.until == never ? "" : ", until " + localTime( now.wallAt( order.until ) ) ) +
          ( order.reason.empty() ? "" : ": " + order.reason );
}

void
Orders::line( std::string_view target, std::string_view name, std::string const& text ) {
   LogEvent event{ .id = LogEvent::order };
   if ( target == "group" )
      event.groups.push_back( name );
   else
      event.port = name;
   log_.event( event, std::string( target ) + ' ' + std::string( name ) + " is " + text );
}

void
Orders::recall() {
   auto [ book, trouble ] = store_.recall();
   if ( !trouble.empty() )
      log_.event( { .id = LogEvent::trouble },
                  "the orders of operators are not all known: " + trouble +
                      "; give orders that are missing again" );
   book_ = std::move( book );
   // Written again, so that checkRecord() notices a loss.
   if ( !book_.isEmpty() )
      record();
   handleBook();
   // Tells of the orders at once.
   if ( reminderAt_ != never )
      reminderAt_ = Zet::now();
}

int
Orders::bookIs( OrderBook book ) {
   if ( book == book_ )
      return 0;
   if ( int const error = store_.remember( book ) )
      return error;
   retryAt_ = never;
   book_ = std::move( book );
   handleBook();
   return 0;
}

void
Orders::change( OrderBook book ) {
   if ( book == book_ )
      return;
   book_ = std::move( book );
   record();
   handleBook();
}

void
Orders::latchesAre( OrderBook::Latches latches ) {
   if ( latches == book_.latches )
      return;
   book_.latches = std::move( latches );
   record();
}

void
Orders::handleBook() {
   endTime_ = never;
   for ( auto const* const orders : { &book_.groups, &book_.ports } )
      for ( auto const& [ name, order ] : *orders )
         endTime_ = std::min( endTime_, order.until );
   if ( book_.groups.empty() && book_.ports.empty() )
      reminderAt_ = never;
   else if ( reminderAt_ == never )
      reminderAt_ = Zet::now() + reminderSeconds;
}

void
Orders::record() {
   int const error = store_.remember( book_ );
   bool const hadFailed =
       std::exchange( retryAt_, error ? Zet::now() + retrySeconds : never ) != never;
   if ( error && !hadFailed )
      log_.event( { .id = LogEvent::trouble },
                  "the orders of operators and the latches can't be recorded in " + place() + ": " +
                      std::generic_category().message( error ) +
                      "; trying again every second. If ufdd ends before, the next one does as " +
                      "was recorded last" );
}

void
Orders::endOver( double now ) {
   OrderBook book = book_;
   auto const isOver = [ & ]( std::string const&, Order const& order ) {
      return now >= order.until;
   };
   drop( book.groups, "group", "is over", isOver );
   drop( book.ports, "port", "is over", isOver );
   change( std::move( book ) );
}

void
Orders::endTurn() {
   double const now = Zet::now();
   if ( now >= retryAt_ )
      record();
   if ( now < reminderAt_ )
      return;
   reminderAt_ = now + reminderSeconds;
   for ( auto const& [ target, orders ] :
         { std::pair( "group", &book_.groups ), std::pair( "port", &book_.ports ) } )
      for ( auto const& [ name, order ] : *orders )
         line( target, name,
               orderText( order ) + "; this order stands, and is ended by: ufdctl auto " + name );
}

double
Orders::nextTime() const {
   return std::min( { endTime_, reminderAt_, retryAt_ } );
}

void
Orders::checkRecord() {
   if ( retryAt_ == never && store_.isLost() )
      record();
}

} // namespace Ufdd
