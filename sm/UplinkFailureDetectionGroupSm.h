#pragma once

#include "adapters/notify/KeyedCollection.h"
#include "adapters/notify/ReactorAdapter.h"
#include "adapters/notify/StateMachine.h"
#include "model/GroupConfig.h"
#include "model/GroupStatus.h"
#include "platform/errdisable/CauseStatus.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "sm/UplinkFailureDetectionIntfSm.h"

namespace UplinkFailureDetection {

// Detects the uplink failure of one group. Counts the monitored interfaces that are up whenever the
// group's configuration, the interface directory or the operational status of a monitored interface
// changes. If fewer than minLinks are up, it gives every downstream interface an entry in the cause
// status; otherwise it removes their entries. It writes the outcome to the group's status.
//
// A check disregards other groups. When an up group and a down group share a port, a check of the
// up group removes the port's entry. The next check of the down group restores it. So the entries
// alone don't tell whether a port must be shut. host/PortDecisions.h does, for each port.
//
// The machine completes all work before the notification returns. Dropping the machine undoes
// nothing; doCleanup() does.
class ZET_EXPORT UplinkFailureDetectionGroupSm
    : public Notify::StateMachine< UplinkFailureDetectionGroupSm > {
 public:
   class _Type;
   class GenericIf_;
   class ZetGroupConfig;
   class ZetEthIntfStatusDir;
   class ZetCauseStatus;

   // Evaluates the group once. This evaluation may disable interfaces but does not count as a
   // disabling. Does nothing when one of the four is null.
   UplinkFailureDetectionGroupSm(
       Zet::Ptr< GroupConfig const > const& groupConfig, Zet::Ptr< GroupStatus > const& groupStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus );
   // Makes the machine without the evaluation. Only the top machine can make a NotStarted. It calls
   // start() to evaluate.
   class NotStarted {
      friend class UplinkFailureDetectionGroupSm;
      friend class UplinkFailureDetectionSm;
      explicit NotStarted() = default;
   };
   UplinkFailureDetectionGroupSm(
       NotStarted, Zet::Ptr< GroupConfig const > const& groupConfig,
       Zet::Ptr< GroupStatus > const& groupStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus );

   // Returns true once the group has left the configuration or the top machine has gone. From then
   // on the machine only cleans up, even while somebody still holds it. A disabling whose record it
   // has begun to write is still counted to the end.
   bool ended() const noexcept { return ended_; }

   // Return null when there is none. Borrows: valid while the machine watches the object.
   GroupConfig const* groupConfig() const noexcept;
   GroupStatus* groupStatus() const noexcept { return groupStatus_.get(); }
   Interface::EthIntfStatusDir const* ethIntfStatusDir() const noexcept;
   Errdisable::CauseStatus* causeStatus() const noexcept;
   // Watches another configuration. One that replaces another is checked at once.
   // Requires: the group has the same name.
   void groupConfigIs( Zet::Ptr< GroupConfig const > const& groupConfig );
   void groupConfigDel();
   void ethIntfStatusDirIs( Zet::Ptr< Interface::EthIntfStatusDir const > const& dir );
   void ethIntfStatusDirDel();
   void causeStatusIs( Zet::Ptr< Errdisable::CauseStatus > const& causeStatus );
   void causeStatusDel();
   // Return new, active reactors for the machine to keep; null for a null object.
   Zet::Ptr< ZetGroupConfig > newGroupConfig( Zet::Ptr< GroupConfig const > const& groupConfig );
   Zet::Ptr< ZetEthIntfStatusDir >
   newEthIntfStatusDir( Zet::Ptr< Interface::EthIntfStatusDir const > const& dir );
   Zet::Ptr< ZetCauseStatus >
   newCauseStatus( Zet::Ptr< Errdisable::CauseStatus > const& causeStatus );

   // Returns the group's name; empty without configuration.
   Zet::Name name() const { return configuredName(); }

   // Returns true once the group has been evaluated for the first time.
   bool initialized() const noexcept { return initialized_; }
   void initializedIs( bool initialized ) noexcept { initialized_ = initialized; }

   // One child per monitored interface that exists.
   Zet::Ptr< UplinkFailureDetectionIntfSm >
   uplinkFailureDetectionIntfSm( Kelnet::IntfId intfId ) const {
      return intfSm_.find( intfId );
   }
   // Returns the child of that status's interface. Makes and activates it if there is none.
   // Throws: Zet::NameInUseException when the child has another status or group machine.
   Zet::Ptr< UplinkFailureDetectionIntfSm >
   uplinkFailureDetectionIntfSmIs( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
                                   UplinkFailureDetectionGroupSm* groupSm );
   // Makes the child without activating it. Requires: the interface has no child.
   Zet::Ptr< UplinkFailureDetectionIntfSm >
   newUplinkFailureDetectionIntfSm( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
                                    UplinkFailureDetectionGroupSm* groupSm );
   Zet::Ptr< UplinkFailureDetectionIntfSm >
   uplinkFailureDetectionIntfSmDel( Kelnet::IntfId intfId ) {
      return intfSm_.del( *this, intfId );
   }
   void uplinkFailureDetectionIntfSmDelAll() { intfSm_.delAll( *this ); }
   // Ends every removal: detaches the child, so that it reacts no more. Somebody may hold the child
   // longer than its group machine lives.
   void
   uplinkFailureDetectionIntfSmNotify( Kelnet::IntfId,
                                       Zet::Ptr< UplinkFailureDetectionIntfSm > const& intfSm ) {
      intfSm->zetDoZombieReactors( true );
      intfSm->groupSmDel();
   }

   using IntfSmCollection = Notify::KeyedCollection<
       &UplinkFailureDetectionGroupSm::uplinkFailureDetectionIntfSmNotify >;
   IntfSmCollection::Iterator uplinkFailureDetectionIntfSmIterator() {
      return intfSm_.iterator( *this );
   }
   IntfSmCollection::Iterator uplinkFailureDetectionIntfSmIterator( Kelnet::IntfId from ) {
      return intfSm_.iterator( *this, from );
   }
   IntfSmCollection::IteratorConst uplinkFailureDetectionIntfSmIteratorConst() const {
      return intfSm_.iteratorConst();
   }
   IntfSmCollection::Members const& uplinkFailureDetectionIntfSmMembers() const {
      return intfSm_.members();
   }

   void handleInitialized();
   // Makes or drops the child of each monitored interface, or of the interface given, which need
   // not be monitored. An interface that is not monitored, or does not exist, loses its cause
   // entry. The next check restores the entry if the group needs it.
   void handleIntf();
   void handleIntf( Kelnet::IntfId intfId );
   void handleAndCheckIntf( Kelnet::IntfId intfId );
   // Counts the monitored interfaces that are up, then disables or enables the downstream
   // interfaces.
   void doCheckIntfs();
   // The parts of the memory that a check or a cleanup reads. They lie far apart. Each part is
   // found through the part before it; the children are found through the machine.
   enum class Part {
      machine,
      objects,
      config,
      members,
      moreMembers,
      causeBuckets,
      children,
      moreChildren
   };
   // Makes the processor load a part. A working machine loads one part for each machine behind it:
   // the last part for the next machine, the part before that for the second one, and so on. So all
   // parts of a machine are loaded when its turn comes.
   void fetch( Part part ) const noexcept;
   // Drops the children and removes the cause entry of every downstream interface. Leaves the
   // status as it is.
   void doCleanup();

   // Returns the machine's key in the top machine: the group's name at construction, even when the
   // machine watches another configuration later.
   Zet::Name const& zetKey() const noexcept { return zetKey_; }

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~UplinkFailureDetectionGroupSm() override;

 private:
   friend class Notify::StateMachine< UplinkFailureDetectionGroupSm >;
   friend class UplinkFailureDetectionSm;

   void start();
   void end() noexcept { ended_ = true; }

   auto reactors() noexcept { return std::tie( groupConfig_, ethIntfStatusDir_, causeStatus_ ); }
   template < class Visit > void forEachChild( Visit visit ) {
      for ( auto at = intfSm_.iteratorConst(); at; ++at )
         visit( *at );
   }

   void fetchCauseBuckets() const noexcept;
   bool isComplete() const noexcept;
   // Returns true if the machine is complete and has not ended.
   bool works() const noexcept;
   Zet::Name const& configuredName() const noexcept;
   unsigned int numUp() const;
   // Returns true if any downstream interface has a cause entry (`disabled`), or has none.
   bool hasDownstream( bool disabled ) const;
   void disableDownstream( double time );
   void enableDownstream();

   // First, to fill the gap behind the base's count.
   bool initialized_ = false;
   bool ended_ = false;
   Zet::Ptr< ZetGroupConfig > groupConfig_;
   Zet::Ptr< GroupStatus > groupStatus_;
   Zet::Ptr< ZetEthIntfStatusDir > ethIntfStatusDir_;
   Zet::Ptr< ZetCauseStatus > causeStatus_;
   IntfSmCollection intfSm_;
   Zet::Name const zetKey_;

 public:
   Zet::ChainLink< UplinkFailureDetectionGroupSm > zetChainLink;
};

class ZET_EXPORT UplinkFailureDetectionGroupSm::ZetGroupConfig
    : public Notify::WatchingReactor< GroupConfig::NotifieeConst, GroupConfig const,
                                      UplinkFailureDetectionGroupSm,
                                      &UplinkFailureDetectionGroupSm::doCheckIntfs > {
   using Owner = UplinkFailureDetectionGroupSm;

 public:
   using WatchingReactor::WatchingReactor;
   void uplinkFailureDetectionGroupSmIs( Owner* owner ) { ownerIs( owner ); }

   void onIntfsToMonitor( Kelnet::IntfId intfId ) override {
      forward< &Owner::handleAndCheckIntf >( intfId );
   }
   void onIntfsToMonitorzetImmediate() override {}
   void onIntfsToDisable( Kelnet::IntfId intfId ) override {
      forward< &Owner::handleAndCheckIntf >( intfId );
   }
   void onIntfsToDisablezetImmediate() override {}
   void onMinLinks() override { forward< &Owner::doCheckIntfs >(); }
};

// Hears of every interface of the directory, even of those that are not the group's.
class ZET_EXPORT UplinkFailureDetectionGroupSm::ZetEthIntfStatusDir
    : public Notify::WatchingReactor< Interface::EthIntfStatusDir::NotifieeConst,
                                      Interface::EthIntfStatusDir const,
                                      UplinkFailureDetectionGroupSm > {
   using Owner = UplinkFailureDetectionGroupSm;

 public:
   using WatchingReactor::WatchingReactor;
   void uplinkFailureDetectionGroupSmIs( Owner* owner ) { ownerIs( owner ); }

   void onIntfStatus( Kelnet::IntfId intfId ) override {
      forward< &Owner::handleAndCheckIntf >( intfId );
   }
   void onIntfStatuszetImmediate() override {}
};

// Gives the group machine its hold on the cause status. Reacts to nothing.
class ZET_EXPORT UplinkFailureDetectionGroupSm::ZetCauseStatus
    : public Notify::ReactorAdapter< Errdisable::CauseStatus::Writer, Errdisable::CauseStatus,
                                     UplinkFailureDetectionGroupSm > {
 public:
   using ReactorAdapter::ReactorAdapter;
   void uplinkFailureDetectionGroupSmIs( UplinkFailureDetectionGroupSm* owner ) {
      ownerIs( owner );
   }
};

} // namespace UplinkFailureDetection

template <> struct Notify::Description< UplinkFailureDetection::UplinkFailureDetectionGroupSm > {
   using T = UplinkFailureDetection::UplinkFailureDetectionGroupSm;
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "UplinkFailureDetectionGroupSm";
   static constexpr std::tuple attributes{
      WatchedReference< &T::groupConfig >{ 130, "groupConfig" },
      DerivedKey< &T::name >{ 131, "name" },
      HeldReference< &T::groupStatus >{ 132, "groupStatus" },
      WatchedReference< &T::ethIntfStatusDir >{ 133, "ethIntfStatusDir" },
      WatchedReference< &T::causeStatus >{ 134, "causeStatus" },
      MachineCollectionRow<
          &T::uplinkFailureDetectionIntfSm, &T::uplinkFailureDetectionIntfSmMembers,
          &T::uplinkFailureDetectionIntfSmIs, &T::uplinkFailureDetectionIntfSmDel >{
          135, "uplinkFailureDetectionIntfSm" },
      Function< &T::doCheckIntfs >{ 136, "doCheckIntfs" },
      Function< operation< Kelnet::IntfId >( &T::handleIntf ) >{ 137, "handleIntf", "intfId" },
      Function< &T::handleAndCheckIntf >{ 138, "handleAndCheckIntf", "intfId" },
      Function< &T::doCleanup >{ 142, "doCleanup" },
      Scalar< &T::initialized, &T::initializedIs, nullptr >{ 143, "initialized" },
      Function< &T::handleInitialized >{ 144, "handleInitialized" },
   };
};
