#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/NotifyingEntity.h"
#include "adapters/notify/ValueCollection.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/ListRaw.h"

#include <optional>

namespace Errdisable {

// The interfaces that are error-disabled for one cause. An interface is disabled as long as it has
// an entry. The entry holds the time at which it was disabled, in seconds of Zet::now().
class ZET_EXPORT CauseStatus : public Notify::NotifyingEntity< CauseStatus > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< CauseStatus >;
   class Writer;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   using ZetIntfStatus = Notify::ValueMember< Kelnet::IntfId, double, CauseStatus >;

   explicit CauseStatus( Zet::Name name ) : NotifyingEntity( std::move( name ) ) {
      // When many groups fall again, their entries come back all at once.
      intfStatus_.keepTable();
   }
   [[nodiscard]] static Zet::Ptr< CauseStatus > CauseStatusIs( Zet::Name name );

   // Returns when the interface was disabled; nothing when it is not disabled.
   std::optional< double > intfStatus( Kelnet::IntfId intfId ) const noexcept {
      ZetIntfStatus const* const entry = intfStatus_.find( intfId );
      return entry ? std::optional( entry->value() ) : std::nullopt;
   }
   // Make the processor load what the look-ups of these interfaces, the members of another map,
   // will read: first the one, later the other.
   template < class Map > void fetchBuckets( Map const& interfaces ) const noexcept {
      if ( !intfStatus_.members().isSmall() )
         interfaces.forEach(
             [ & ]( auto const& at ) { intfStatus_.members().fetchBucket( at.zetKey() ); } );
   }
   template < class Map > void fetchEntries( Map const& interfaces ) const noexcept {
      if ( !intfStatus_.members().isSmall() )
         interfaces.forEach(
             [ & ]( auto const& at ) { intfStatus_.members().fetchFirst( at.zetKey() ); } );
   }
   // Returns true if any interface is disabled.
   bool hasIntfStatus() const noexcept { return !intfStatus_.members().empty(); }
   void intfStatusIs( Kelnet::IntfId intfId, double const& time );
   // Removes the entry. Returns false, and tells nobody, when there was none.
   bool intfStatusDel( Kelnet::IntfId intfId );
   void intfStatusNotify( Kelnet::IntfId intfId, Zet::Ptr< ZetIntfStatus > const& entry );

   using IntfStatusCollection = Notify::ValueCollection< &CauseStatus::intfStatusNotify >;
   using IntfStatusIteratorConst = IntfStatusCollection::IteratorConst;
   // Walks the entries: at.key() is the interface, at->value() the time.
   IntfStatusIteratorConst intfStatusIteratorConst() const { return intfStatus_.iteratorConst(); }

 protected:
   ~CauseStatus() override;

 private:
   friend class Notify::NotifyingEntity< CauseStatus >;

   IntfStatusCollection intfStatus_;
   mutable NotifieeList notifiees_;
};

class ZET_EXPORT CauseStatus::NotifieeConst
    : public Notify::EntityNotifiee< CauseStatus, Zet::Entity::NotifieeConst, Kelnet::IntfId > {
 public:
   virtual void onIntfStatus( Kelnet::IntfId ) {}
   virtual void onIntfStatuszetImmediate() {}
   virtual void onIntfStatus() {}
};

// Lets its holder write to the cause, and is told of nothing. Every group has one. It is in no list
// of notifiees, because each change of an entry would have to walk them all.
class ZET_EXPORT CauseStatus::Writer : public Notifiee {
 public:
   void notifierIs( Zet::Ptr< Zet::PtrInterface const > const& object ) override {
      notifierReplace( Zet::ptrCast< CauseStatus const >( object ) );
   }
   void isRegisteredNotifieeIs( bool registered ) const override { registeredFlagIs( registered ); }
};

} // namespace Errdisable

template <> struct Notify::Description< Errdisable::CauseStatus > {
   using T = Errdisable::CauseStatus;
   static constexpr std::string_view nameSpace = "Errdisable";
   static constexpr std::string_view name = "CauseStatus";
   static constexpr std::tuple attributes{
      Notified< &T::intfStatus, keyed< Kelnet::IntfId >( &T::NotifieeConst::onIntfStatus ) >{
          258, "intfStatus" },
   };
};
