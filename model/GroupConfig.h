#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/LoggedEntity.h"
#include "adapters/notify/ValueCollection.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/ListRaw.h"
#include "platform/zet/Strep.h"

namespace UplinkFailureDetection {

// The configuration of one group. While fewer than `minLinks` of the interfaces to monitor are up,
// the interfaces to disable are error-disabled.
//
// A setter does nothing when the value is already stored. Otherwise it stores the value, then tells
// the notifiees.
class ZET_EXPORT GroupConfig : public Notify::LoggedEntity< GroupConfig > {
 public:
   class _Type;
   class GenericIf_;
   class ZetNboAttrLogSa;
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< GroupConfig >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;

   // Members of the two collections: an interface and its flag.
   using ZetIntfsToMonitor = Notify::ValueMember< Kelnet::IntfId, bool, struct IntfsToMonitorTag >;
   using ZetIntfsToDisable = Notify::ValueMember< Kelnet::IntfId, bool, struct IntfsToDisableTag >;

   explicit GroupConfig( Zet::Name name ) : LoggedEntity( std::move( name ) ) {}
   // Returns a new group with no interfaces, `minLinks` 1, and no parent.
   [[nodiscard]] static Zet::Ptr< GroupConfig > GroupConfigIs( Zet::Name name );

   // The uplinks. The flag says whether an uplink is watched. Every uplink is counted, watched or
   // not. A change of an uplink that is not watched is seen only at the next check.
   bool intfsToMonitor( Kelnet::IntfId intfId ) const { return intfsToMonitor_.value( intfId ); }
   void intfsToMonitorIs( Kelnet::IntfId intfId, bool watched );
   // Adds the interface and tells nobody. Requires: the interface is absent.
   Zet::Ptr< ZetIntfsToMonitor > newIntfsToMonitor( Kelnet::IntfId intfId, bool watched );
   // Removes the interface and returns its flag. Returns false, and tells nobody, when it was
   // absent.
   bool intfsToMonitorDel( Kelnet::IntfId intfId );
   void intfsToMonitorDelAll() { intfsToMonitor_.delAll( *this ); }
   void intfsToMonitorNotify( Kelnet::IntfId intfId, Zet::Ptr< ZetIntfsToMonitor > const& );

   // The iterators are described in adapters/notify/KeyedCollection.h. at.key() is the interface,
   // at->value() its flag. The deleting iterators hold the group, the const iterator borrows it.
   using IntfsToMonitorCollection = Notify::ValueCollection< &GroupConfig::intfsToMonitorNotify >;
   using IntfsToMonitorIterator = IntfsToMonitorCollection::Iterator;
   using ZetIntfsToMonitorIterator = IntfsToMonitorIterator;
   using IntfsToMonitorIteratorConst = IntfsToMonitorCollection::IteratorConst;
   IntfsToMonitorIterator intfsToMonitorIterator() { return intfsToMonitor_.iterator( *this ); }
   // Returns an iterator at that interface or, when it is absent, at the one that would follow it.
   IntfsToMonitorIterator intfsToMonitorIterator( Kelnet::IntfId from ) {
      return intfsToMonitor_.iterator( *this, from );
   }
   IntfsToMonitorIteratorConst intfsToMonitorIteratorConst() const {
      return intfsToMonitor_.iteratorConst();
   }
   IntfsToMonitorCollection::Members const& intfsToMonitorMembers() const {
      return intfsToMonitor_.members();
   }

   // The downstream interfaces. Detection ignores the flag. The operations are as above.
   bool intfsToDisable( Kelnet::IntfId intfId ) const { return intfsToDisable_.value( intfId ); }
   void intfsToDisableIs( Kelnet::IntfId intfId, bool flag );
   Zet::Ptr< ZetIntfsToDisable > newIntfsToDisable( Kelnet::IntfId intfId, bool flag );
   bool intfsToDisableDel( Kelnet::IntfId intfId );
   void intfsToDisableDelAll() { intfsToDisable_.delAll( *this ); }
   void intfsToDisableNotify( Kelnet::IntfId intfId, Zet::Ptr< ZetIntfsToDisable > const& );

   using IntfsToDisableCollection = Notify::ValueCollection< &GroupConfig::intfsToDisableNotify >;
   using IntfsToDisableIterator = IntfsToDisableCollection::Iterator;
   using ZetIntfsToDisableIterator = IntfsToDisableIterator;
   using IntfsToDisableIteratorConst = IntfsToDisableCollection::IteratorConst;
   IntfsToDisableIterator intfsToDisableIterator() { return intfsToDisable_.iterator( *this ); }
   IntfsToDisableIterator intfsToDisableIterator( Kelnet::IntfId from ) {
      return intfsToDisable_.iterator( *this, from );
   }
   IntfsToDisableIteratorConst intfsToDisableIteratorConst() const {
      return intfsToDisable_.iteratorConst();
   }
   IntfsToDisableCollection::Members const& intfsToDisableMembers() const {
      return intfsToDisable_.members();
   }

   // Returns the least number of monitored interfaces that must be up. 0 never disables.
   unsigned int minLinks() const noexcept { return minLinks_; }
   void minLinksIs( unsigned int minLinks );
   // Returns the `minLinks` of a new group.
   unsigned int minLinksDefault() const noexcept { return 1; }

   // Returns the group's key in its Config.
   Zet::Name const& zetKey() const noexcept { return zetName(); }

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   // Tells nobody of the entries that go with the group.
   ~GroupConfig() override;

 private:
   friend class Notify::NotifyingEntity< GroupConfig >;

   IntfsToMonitorCollection intfsToMonitor_;
   IntfsToDisableCollection intfsToDisable_;
   mutable NotifieeList notifiees_;

 public:
   [[no_unique_address]] Zet::ChainLink< GroupConfig > zetChainLink;

 private:
   // Last, to fill the gap behind the link.
   unsigned int minLinks_ = 1;
};

class ZET_EXPORT GroupConfig::NotifieeConst
    : public Notify::EntityNotifiee< GroupConfig, Zet::Entity::NotifieeConst, Kelnet::IntfId,
                                     Kelnet::IntfId > {
 public:
   virtual void onIntfsToMonitor( Kelnet::IntfId ) {}
   virtual void onIntfsToMonitorzetImmediate() {}
   virtual void onIntfsToMonitor() {}
   virtual void onIntfsToDisable( Kelnet::IntfId ) {}
   virtual void onIntfsToDisablezetImmediate() {}
   virtual void onIntfsToDisable() {}
   virtual void onMinLinks() {}
};

} // namespace UplinkFailureDetection

extern template class Notify::LoggedEntity< UplinkFailureDetection::GroupConfig >;

template <> struct Notify::Description< UplinkFailureDetection::GroupConfig > {
   using T = UplinkFailureDetection::GroupConfig;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "GroupConfig";
   static constexpr std::tuple attributes{
      ValueCollectionRow< &T::intfsToMonitor, &T::intfsToMonitorMembers, &T::intfsToMonitorIs,
                          &T::intfsToMonitorDel, keyed< Kelnet::IntfId >( &N::onIntfsToMonitor ) >{
          258, "intfsToMonitor" },
      ValueCollectionRow< &T::intfsToDisable, &T::intfsToDisableMembers, &T::intfsToDisableIs,
                          &T::intfsToDisableDel, keyed< Kelnet::IntfId >( &N::onIntfsToDisable ) >{
          259, "intfsToDisable" },
      Scalar< &T::minLinks, &T::minLinksIs, &N::onMinLinks >{ 260, "minLinks" },
      Constant< &T::minLinksDefault >{ 261, "minLinksDefault" },
   };
};
