#include "sm/UplinkFailureDetectionSm.h"

#include "sm/RequireSame.h"
#include "sm/Trace.h"

namespace UplinkFailureDetection {

namespace {

// Has a group machine end its group. It reacts to nothing any more, so that an observer of the
// cleanup can't have it write again, nor while someone still holds it.
void
retire( UplinkFailureDetectionGroupSm& groupSm ) {
   groupSm.zetDoZombieReactors( true );
   groupSm.doCleanup();
}

} // namespace

UplinkFailureDetectionSm::UplinkFailureDetectionSm(
    Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir )
    : config_( newConfig( config ) ), status_( status ), causeStatus_( causeStatus ),
      ethIntfStatusDir_( ethIntfStatusDir ) {
   handleInitialized();
   hasNotificationActiveIs( true );
}

UplinkFailureDetectionSm::~UplinkFailureDetectionSm() {
   reactorsEnd();
   uplinkFailureDetectionGroupSmDelAll();
}

Zet::Ptr< UplinkFailureDetectionSm >
UplinkFailureDetectionSm::UplinkFailureDetectionSmIs(
    Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir ) {
   return Zet::validPtr(
       Zet::make< UplinkFailureDetectionSm >( config, status, causeStatus, ethIntfStatusDir ) );
}

Config const*
UplinkFailureDetectionSm::config() const noexcept {
   return config_ ? config_->notifier() : nullptr;
}

void
UplinkFailureDetectionSm::configIs( Zet::Ptr< Config const > const& config ) {
   reactorIs( config_, config );
}

void
UplinkFailureDetectionSm::configDel() {
   configIs( nullptr );
}

Zet::Ptr< UplinkFailureDetectionSm::ZetConfig >
UplinkFailureDetectionSm::newConfig( Zet::Ptr< Config const > const& config ) {
   return newReactor< ZetConfig >( config );
}

Zet::Ptr< UplinkFailureDetectionGroupSm >
UplinkFailureDetectionSm::uplinkFailureDetectionGroupSmIs(
    Zet::Ptr< GroupConfig const > const& groupConfig, Zet::Ptr< GroupStatus > const& groupStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus ) {
   if ( auto const groupSm = uplinkFailureDetectionGroupSm( groupConfig->zetName() ) ) {
      requireSame( "_groupConfig", groupConfig.get(), groupSm->groupConfig() );
      requireSame( "_groupStatus", groupStatus.get(), groupSm->groupStatus() );
      requireSame( "_ethIntfStatusDir", ethIntfStatusDir.get(), groupSm->ethIntfStatusDir() );
      requireSame( "_causeStatus", causeStatus.get(), groupSm->causeStatus() );
      return groupSm;
   }
   auto const groupSm =
       newUplinkFailureDetectionGroupSm( groupConfig, groupStatus, ethIntfStatusDir, causeStatus );
   groupSm->hasNotificationActiveIs( true );
   return groupSm;
}

Zet::Ptr< UplinkFailureDetectionGroupSm >
UplinkFailureDetectionSm::newUplinkFailureDetectionGroupSm(
    Zet::Ptr< GroupConfig const > const& groupConfig, Zet::Ptr< GroupStatus > const& groupStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus ) {
   auto const groupSm = Zet::validPtr( Zet::make< UplinkFailureDetectionGroupSm >(
       groupConfig, groupStatus, ethIntfStatusDir, causeStatus ) );
   // An observer of its first evaluation may have had the group replaced, and another made.
   if ( Zet::Ptr< UplinkFailureDetectionGroupSm > const other =
            groupSm_.find( groupSm->zetKey() ) ) {
      retire( *groupSm );
      other->doCheckIntfs();
      return other;
   }
   groupSm_.insert( groupSm );
   return groupSm;
}

void
UplinkFailureDetectionSm::handleInitialized() {
   handleGroup();
   initializedIs( true );
}

void
UplinkFailureDetectionSm::handleGroup() {
   // An observer of what the groups write may drop this machine or its configuration.
   Zet::Ptr< UplinkFailureDetectionSm > const self( this );
   Zet::Ptr< Config const > const config = this->config();
   if ( !config )
      return;
   for ( auto at = config->groupIteratorConst(); at; ++at )
      handleGroup( at->name() );
}

void
UplinkFailureDetectionSm::handleGroup( Zet::Name groupName ) {
   // An observer of what the group writes may drop this machine.
   Zet::Ptr< UplinkFailureDetectionSm > const self( this );
   Zet::Ptr< Config const > const config = this->config();
   if ( !config )
      return;
   trace( "handleGroup", "handleGroup( ", groupName, " )" );
   Zet::Ptr< GroupConfig const > const groupConfig = config->group( groupName );
   if ( groupConfig )
      startGroup( *config, groupConfig );
   else
      endGroup( groupName );
   // An observer may have had the group removed or replaced meanwhile.
   if ( config->group( groupName ) != groupConfig )
      handleGroup( groupName );
}

void
UplinkFailureDetectionSm::startGroup( Config const& config,
                                      Zet::Ptr< GroupConfig const > const& groupConfig ) {
   // Before the machine, whose first evaluation writes into it.
   Zet::Ptr< GroupStatus > const groupStatus = status_->groupIs( groupConfig->zetName() );
   if ( config.group( groupConfig->zetName() ) == groupConfig )
      uplinkFailureDetectionGroupSmIs( groupConfig, groupStatus, ethIntfStatusDir_, causeStatus_ );
}

void
UplinkFailureDetectionSm::endGroup( Zet::Name const& groupName ) {
   if ( auto const groupSm = uplinkFailureDetectionGroupSm( groupName ) )
      retire( *groupSm );
   uplinkFailureDetectionGroupSmDel( groupName );
   status_->groupDel( groupName );
}

} // namespace UplinkFailureDetection
