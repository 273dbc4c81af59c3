#include "sm/UplinkFailureDetectionGroupSm.h"

#include "platform/zet/Clock.h"
#include "sm/RequireSame.h"
#include "sm/Trace.h"

namespace UplinkFailureDetection {

UplinkFailureDetectionGroupSm::UplinkFailureDetectionGroupSm(
    Zet::Ptr< GroupConfig const > const& groupConfig, Zet::Ptr< GroupStatus > const& groupStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus )
    : UplinkFailureDetectionGroupSm( NotStarted(), groupConfig, groupStatus, ethIntfStatusDir,
                                     causeStatus ) {
   start();
}

UplinkFailureDetectionGroupSm::UplinkFailureDetectionGroupSm(
    NotStarted, Zet::Ptr< GroupConfig const > const& groupConfig,
    Zet::Ptr< GroupStatus > const& groupStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus )
    : groupConfig_( newGroupConfig( groupConfig ) ), groupStatus_( groupStatus ),
      ethIntfStatusDir_( newEthIntfStatusDir( ethIntfStatusDir ) ),
      causeStatus_( newCauseStatus( causeStatus ) ), zetKey_( configuredName() ) {}

void
UplinkFailureDetectionGroupSm::start() {
   handleInitialized();
   hasNotificationActiveIs( true );
}

UplinkFailureDetectionGroupSm::~UplinkFailureDetectionGroupSm() {
   reactorsEnd();
   uplinkFailureDetectionIntfSmDelAll();
}

GroupConfig const*
UplinkFailureDetectionGroupSm::groupConfig() const noexcept {
   return groupConfig_ ? groupConfig_->notifier() : nullptr;
}

Interface::EthIntfStatusDir const*
UplinkFailureDetectionGroupSm::ethIntfStatusDir() const noexcept {
   return ethIntfStatusDir_ ? ethIntfStatusDir_->notifier() : nullptr;
}

Errdisable::CauseStatus*
UplinkFailureDetectionGroupSm::causeStatus() const noexcept {
   return causeStatus_ ? causeStatus_->notifier() : nullptr;
}

void
UplinkFailureDetectionGroupSm::groupConfigIs( Zet::Ptr< GroupConfig const > const& groupConfig ) {
   reactorIs( groupConfig_, groupConfig );
}

void
UplinkFailureDetectionGroupSm::groupConfigDel() {
   groupConfigIs( nullptr );
}

void
UplinkFailureDetectionGroupSm::ethIntfStatusDirIs(
    Zet::Ptr< Interface::EthIntfStatusDir const > const& dir ) {
   reactorIs( ethIntfStatusDir_, dir );
}

void
UplinkFailureDetectionGroupSm::ethIntfStatusDirDel() {
   ethIntfStatusDirIs( nullptr );
}

void
UplinkFailureDetectionGroupSm::causeStatusIs(
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus ) {
   reactorIs( causeStatus_, causeStatus );
}

void
UplinkFailureDetectionGroupSm::causeStatusDel() {
   causeStatusIs( nullptr );
}

Zet::Ptr< UplinkFailureDetectionGroupSm::ZetGroupConfig >
UplinkFailureDetectionGroupSm::newGroupConfig( Zet::Ptr< GroupConfig const > const& groupConfig ) {
   return newReactor< ZetGroupConfig >( groupConfig );
}

Zet::Ptr< UplinkFailureDetectionGroupSm::ZetEthIntfStatusDir >
UplinkFailureDetectionGroupSm::newEthIntfStatusDir(
    Zet::Ptr< Interface::EthIntfStatusDir const > const& dir ) {
   return newReactor< ZetEthIntfStatusDir >( dir );
}

Zet::Ptr< UplinkFailureDetectionGroupSm::ZetCauseStatus >
UplinkFailureDetectionGroupSm::newCauseStatus(
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus ) {
   return newReactor< ZetCauseStatus >( causeStatus );
}

Zet::Name const&
UplinkFailureDetectionGroupSm::configuredName() const noexcept {
   if ( GroupConfig const* const config = groupConfig() )
      return config->zetName();
   static Zet::Name const none;
   return none;
}

Zet::Ptr< UplinkFailureDetectionIntfSm >
UplinkFailureDetectionGroupSm::uplinkFailureDetectionIntfSmIs(
    Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
    UplinkFailureDetectionGroupSm* groupSm ) {
   if ( auto const intfSm = uplinkFailureDetectionIntfSm( ethIntfStatus->intfId() ) ) {
      requireSame( "_ethIntfStatus", ethIntfStatus.get(), intfSm->ethIntfStatus() );
      requireSame( "_groupSm", groupSm, intfSm->groupSm() );
      return intfSm;
   }
   auto const intfSm = newUplinkFailureDetectionIntfSm( ethIntfStatus, groupSm );
   intfSm->hasNotificationActiveIs( true );
   return intfSm;
}

Zet::Ptr< UplinkFailureDetectionIntfSm >
UplinkFailureDetectionGroupSm::newUplinkFailureDetectionIntfSm(
    Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
    UplinkFailureDetectionGroupSm* groupSm ) {
   auto const intfSm =
       UplinkFailureDetectionIntfSm::UplinkFailureDetectionIntfSmIs( ethIntfStatus, groupSm );
   intfSm_.insert( intfSm );
   return intfSm;
}

void
UplinkFailureDetectionGroupSm::handleInitialized() {
   handleIntf();
   doCheckIntfs();
   initializedIs( true );
}

void
UplinkFailureDetectionGroupSm::handleIntf() {
   // An observer of the cause status may drop this machine or its configuration.
   Zet::Ptr< UplinkFailureDetectionGroupSm > const self( this );
   if ( !works() )
      return;
   Zet::Ptr< GroupConfig const > const config = groupConfig();
   for ( auto at = config->intfsToMonitorIteratorConst(); at; ++at )
      handleIntf( at.key() );
}

void
UplinkFailureDetectionGroupSm::handleIntf( Kelnet::IntfId intfId ) {
   if ( !works() )
      return;
   trace( "handleIntf", configuredName(), "::handleIntf ", intfId );
   if ( groupConfig()->intfsToMonitor( intfId ) ) {
      if ( Interface::EthIntfStatus const* const status =
               ethIntfStatusDir()->intfStatus( intfId ) ) {
         trace( "handleIntf", "Creating IntfSm" );
         uplinkFailureDetectionIntfSmIs( status, this );
         return;
      }
   }
   trace( "handleIntf", "Intf removed, deleting IntfSm" );
   // Held until the entry is gone: an observer may change this machine when the child goes.
   auto const child = uplinkFailureDetectionIntfSmDel( intfId );
   causeStatus()->intfStatusDel( intfId );
}

void
UplinkFailureDetectionGroupSm::handleAndCheckIntf( Kelnet::IntfId intfId ) {
   // An observer of the cause status may drop this machine.
   Zet::Ptr< UplinkFailureDetectionGroupSm > const self( this );
   handleIntf( intfId );
   doCheckIntfs();
}

void
UplinkFailureDetectionGroupSm::fetch( Part part ) const noexcept {
   switch ( part ) {
   case Part::machine:
      Zet::fetch( *this );
      break;
   case Part::objects:
      __builtin_prefetch( groupConfig_.get() );
      __builtin_prefetch( ethIntfStatusDir_.get() );
      __builtin_prefetch( causeStatus_.get() );
      if ( groupStatus_ )
         Zet::fetch( *groupStatus_ );
      break;
   case Part::config:
      if ( GroupConfig const* const config = groupConfig() )
         Zet::fetch( *config );
      break;
   case Part::members:
      if ( GroupConfig const* const config = groupConfig() ) {
         config->intfsToMonitorMembers().fetchFirst();
         config->intfsToDisableMembers().fetchFirst();
      }
      break;
   case Part::moreMembers:
      if ( GroupConfig const* const config = groupConfig() ) {
         config->intfsToMonitorMembers().fetchSecond();
         config->intfsToDisableMembers().fetchSecond();
      }
      break;
   case Part::causeBuckets:
      fetchCauseBuckets();
      break;
   case Part::children:
      intfSm_.members().fetchFirst();
      break;
   case Part::moreChildren:
      intfSm_.members().fetchSecond();
      break;
   }
}

void
UplinkFailureDetectionGroupSm::fetchCauseBuckets() const noexcept {
   GroupConfig const* const config = groupConfig();
   Errdisable::CauseStatus const* const cause = causeStatus();
   if ( config && cause && config->intfsToDisableMembers().isSmall() )
      cause->fetchBuckets( config->intfsToDisableMembers() );
}

void
UplinkFailureDetectionGroupSm::doCheckIntfs() {
   if ( !works() )
      return;
   trace( "doCheckIntfs", configuredName(), "::doCheckIntfs " );
   if ( groupConfig()->minLinks() > numUp() ) {
      trace( "doCheckIntfs", "numUp is < minLinks ; disabling downstream intfs" );
      double const time = Zet::now();
      if ( groupStatus_->groupLinkStatus() != GroupLinkStatus::down || hasDownstream( false ) )
         disableDownstream( time );
   } else {
      trace( "doCheckIntfs", "numUp is >= minLinks ; enabling downstream intfs" );
      if ( groupStatus_->groupLinkStatus() != GroupLinkStatus::up || hasDownstream( true ) )
         enableDownstream();
   }
}

bool
UplinkFailureDetectionGroupSm::isComplete() const noexcept {
   return groupConfig() && groupStatus_ && ethIntfStatusDir() && causeStatus();
}

bool
UplinkFailureDetectionGroupSm::works() const noexcept {
   return !ended_ && isComplete();
}

unsigned int
UplinkFailureDetectionGroupSm::numUp() const {
   unsigned int up = 0;
   Interface::EthIntfStatusDir const& dir = *ethIntfStatusDir();
   // Counts the flag-less members too: an operator lists them to be counted, not watched.
   groupConfig()->intfsToMonitorMembers().forEach( [ & ]( auto const& monitored ) {
      Interface::EthIntfStatus const* const status = dir.intfStatus( monitored.zetKey() );
      if ( status && status->operStatus() == Interface::OperStatus::up )
         ++up;
   } );
   return up;
}

bool
UplinkFailureDetectionGroupSm::hasDownstream( bool disabled ) const {
   Errdisable::CauseStatus const& cause = *causeStatus();
   auto const& members = groupConfig()->intfsToDisableMembers();
   // Usually no interface is disabled, and no member needs a look.
   if ( disabled && !cause.hasIntfStatus() )
      return false;
   if ( members.isSmall() )
      cause.fetchEntries( members );
   return members.any( [ & ]( auto const& downstream ) {
      return cause.intfStatus( downstream.zetKey() ).has_value() == disabled;
   } );
}

void
UplinkFailureDetectionGroupSm::disableDownstream( double time ) {
   // An observer of these writes may drop this machine or replace the objects that it watches.
   Zet::Ptr< UplinkFailureDetectionGroupSm > const self( this );
   Zet::Ptr< GroupConfig const > const config = groupConfig();
   Zet::Ptr< Errdisable::CauseStatus > const cause = causeStatus();
   // Once an observer has ended this machine, nobody would remove the entries that it makes.
   for ( auto at = config->intfsToDisableIteratorConst(); at && !ended_; ++at )
      if ( !cause->intfStatus( at.key() ) )
         cause->intfStatusIs( at.key(), time );
   if ( ended_ || groupStatus_->groupLinkStatus() == GroupLinkStatus::down )
      return;
   groupStatus_->groupLinkStatusIs( GroupLinkStatus::down );
   if ( initialized_ ) {
      groupStatus_->numTimesDisabledInc( 1 );
      groupStatus_->prevDisabledTimeIs( time );
   }
}

void
UplinkFailureDetectionGroupSm::enableDownstream() {
   // An observer of these writes may drop this machine or replace the objects that it watches.
   Zet::Ptr< UplinkFailureDetectionGroupSm > const self( this );
   Zet::Ptr< GroupConfig const > const config = groupConfig();
   Zet::Ptr< Errdisable::CauseStatus > const cause = causeStatus();
   // Once an observer has ended this machine, others decide about these entries.
   for ( auto at = config->intfsToDisableIteratorConst(); at && !ended_; ++at )
      cause->intfStatusDel( at.key() );
   if ( !ended_ )
      groupStatus_->groupLinkStatusIs( GroupLinkStatus::up );
}

void
UplinkFailureDetectionGroupSm::doCleanup() {
   // An observer of each removed entry may drop this machine or replace the objects that it
   // watches.
   Zet::Ptr< UplinkFailureDetectionGroupSm > const self( this );
   if ( !isComplete() )
      return;
   Zet::Ptr< GroupConfig const > const config = groupConfig();
   Zet::Ptr< Errdisable::CauseStatus > const cause = causeStatus();
   trace( "doCleanup", configuredName(), "::doCleanup()" );
   for ( auto at = config->intfsToMonitorIteratorConst(); at; ++at )
      uplinkFailureDetectionIntfSmDel( at.key() );
   for ( auto at = config->intfsToDisableIteratorConst(); at; ++at )
      cause->intfStatusDel( at.key() );
}

} // namespace UplinkFailureDetection
