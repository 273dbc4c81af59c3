#pragma once

#include "adapters/notify/KeyedCollection.h"
#include "adapters/notify/ReactorAdapter.h"
#include "adapters/notify/StateMachine.h"
#include "model/Config.h"
#include "model/Status.h"
#include "sm/UplinkFailureDetectionGroupSm.h"

namespace UplinkFailureDetection {

// Keeps one group machine and one status record per configured group. When a group leaves the
// configuration, its downstream interfaces are released first; its machine and its record go next.
//
// Dropping the machine undoes nothing. Cause entries and records stay until another machine
// evaluates the groups.
class ZET_EXPORT UplinkFailureDetectionSm
    : public Notify::StateMachine< UplinkFailureDetectionSm > {
 public:
   class _Type;
   class GenericIf_;
   class ZetConfig;

   // Evaluates every configured group once. Without a configuration there are no groups until
   // configIs().
   // Requires: the other three are not null (asserted).
   UplinkFailureDetectionSm(
       Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir );
   [[nodiscard]] static Zet::Ptr< UplinkFailureDetectionSm > UplinkFailureDetectionSmIs(
       Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir );

   // Return the objects that the machine runs on. Borrows: valid while the machine holds them.
   Config const* config() const noexcept;
   Status* status() const noexcept { return status_.get(); }
   Errdisable::CauseStatus* causeStatus() const noexcept { return causeStatus_.get(); }
   Interface::EthIntfStatusDir const* ethIntfStatusDir() const noexcept {
      return ethIntfStatusDir_.get();
   }
   // Watches another configuration, without evaluating its groups.
   void configIs( Zet::Ptr< Config const > const& config );
   void configDel();
   // Returns a new, active reactor for the machine to keep; null for a null configuration.
   Zet::Ptr< ZetConfig > newConfig( Zet::Ptr< Config const > const& config );

   // Returns true once the groups that were configured at construction have been evaluated.
   bool initialized() const noexcept { return initialized_; }
   void initializedIs( bool initialized ) noexcept { initialized_ = initialized; }

   // Returns the machine of that group, or null.
   Zet::Ptr< UplinkFailureDetectionGroupSm > uplinkFailureDetectionGroupSm( Zet::Name name ) const {
      return groupSm_.find( name );
   }
   // Returns the machine of that group. Makes and activates it if there is none. The machine is not
   // kept if, during its first evaluation, the group leaves the configuration or this machine goes.
   // Throws: Zet::NameInUseException when there is one that was made from other objects.
   Zet::Ptr< UplinkFailureDetectionGroupSm > uplinkFailureDetectionGroupSmIs(
       Zet::Ptr< GroupConfig const > const& groupConfig, Zet::Ptr< GroupStatus > const& groupStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus );
   // Makes the machine as above. Requires: the group has no machine.
   Zet::Ptr< UplinkFailureDetectionGroupSm > newUplinkFailureDetectionGroupSm(
       Zet::Ptr< GroupConfig const > const& groupConfig, Zet::Ptr< GroupStatus > const& groupStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus );
   // These drop machines without ending their groups: one that somebody holds goes on writing.
   Zet::Ptr< UplinkFailureDetectionGroupSm > uplinkFailureDetectionGroupSmDel( Zet::Name name ) {
      return groupSm_.del( *this, name );
   }
   void uplinkFailureDetectionGroupSmDelAll() { groupSm_.delAll( *this ); }
   void uplinkFailureDetectionGroupSmNotify( Zet::Name,
                                             Zet::Ptr< UplinkFailureDetectionGroupSm > const& ) {}

   using GroupSmCollection =
       Notify::KeyedCollection< &UplinkFailureDetectionSm::uplinkFailureDetectionGroupSmNotify >;
   GroupSmCollection::Iterator uplinkFailureDetectionGroupSmIterator() {
      return groupSm_.iterator( *this );
   }
   GroupSmCollection::Iterator uplinkFailureDetectionGroupSmIterator( Zet::Name from ) {
      return groupSm_.iterator( *this, from );
   }
   GroupSmCollection::IteratorConst uplinkFailureDetectionGroupSmIteratorConst() const {
      return groupSm_.iteratorConst();
   }
   GroupSmCollection::Members const& uplinkFailureDetectionGroupSmMembers() const {
      return groupSm_.members();
   }

   void handleInitialized();
   // Bring every group, or the group of that name, in step with the configuration. The name need
   // not be configured. Do nothing without configuration.
   void handleGroup();
   void handleGroup( Zet::Name groupName );

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~UplinkFailureDetectionSm() override;

 private:
   friend class Notify::StateMachine< UplinkFailureDetectionSm >;

   auto reactors() noexcept { return std::tie( config_ ); }
   template < class Visit > void forEachChild( Visit visit ) {
      for ( auto at = groupSm_.iteratorConst(); at; ++at )
         visit( *at );
   }

   class Operation;

   // Returns the group's machine, even one that is still in its first evaluation and not yet kept.
   UplinkFailureDetectionGroupSm* startedGroupSm( Zet::Name const& groupName ) const noexcept;
   void startGroup( Operation& operation, Config const& config,
                    Zet::Ptr< GroupConfig const > const& groupConfig );
   void fetchBehind( UplinkFailureDetectionGroupSm const& groupSm ) const noexcept;
   void endGroup( Operation& operation, Config const& config, Zet::Name const& groupName );

   Zet::Ptr< ZetConfig > config_;
   Zet::Ptr< Status > status_;
   Zet::Ptr< Errdisable::CauseStatus > causeStatus_;
   Zet::Ptr< Interface::EthIntfStatusDir const > ethIntfStatusDir_;
   GroupSmCollection groupSm_;
   Operation* innermost_ = nullptr;
   bool initialized_ = false;
};

class ZET_EXPORT UplinkFailureDetectionSm::ZetConfig
    : public Notify::WatchingReactor< Config::NotifieeConst, Config const,
                                      UplinkFailureDetectionSm > {
   using Owner = UplinkFailureDetectionSm;

 public:
   using WatchingReactor::WatchingReactor;
   void uplinkFailureDetectionSmIs( Owner* owner ) { ownerIs( owner ); }

   void onGroup( Zet::Name name ) override {
      if ( Owner* const owner = reactingOwner() )
         owner->handleGroup( std::move( name ) );
   }
   void onGroupzetImmediate() override {}
};

} // namespace UplinkFailureDetection

template <> struct Notify::Description< UplinkFailureDetection::UplinkFailureDetectionSm > {
   using T = UplinkFailureDetection::UplinkFailureDetectionSm;
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "UplinkFailureDetectionSm";
   static constexpr std::tuple attributes{
      WatchedReference< &T::config >{ 130, "config" },
      HeldReference< &T::status >{ 131, "status" },
      HeldReference< &T::causeStatus >{ 132, "causeStatus" },
      HeldReference< &T::ethIntfStatusDir >{ 133, "ethIntfStatusDir" },
      MachineCollectionRow<
          &T::uplinkFailureDetectionGroupSm, &T::uplinkFailureDetectionGroupSmMembers,
          &T::uplinkFailureDetectionGroupSmIs, &T::uplinkFailureDetectionGroupSmDel >{
          134, "uplinkFailureDetectionGroupSm" },
      Function< operation< Zet::Name >( &T::handleGroup ) >{ 135, "handleGroup", "groupName" },
      Scalar< &T::initialized, &T::initializedIs, nullptr >{ 137, "initialized" },
      Function< &T::handleInitialized >{ 138, "handleInitialized" },
   };
};
