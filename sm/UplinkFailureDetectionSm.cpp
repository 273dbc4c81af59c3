#include "sm/UplinkFailureDetectionSm.h"

#include "platform/zet/Assert.h"
#include "sm/RequireSame.h"
#include "sm/Trace.h"

#include <iterator>

namespace UplinkFailureDetection {

// One running operation of the machine, in a list from the innermost outwards. An observer of the
// groups' writes may drop the machine meanwhile. No operation holds the machine: it would work on
// beside the machine that has replaced it.
class UplinkFailureDetectionSm::Operation {
 public:
   // Inlined, GCC 12 takes it for a pointer to the stack that is left behind.
   [[gnu::noinline]] explicit Operation( UplinkFailureDetectionSm& sm )
       : sm_( &sm ), outer_( std::exchange( sm.innermost_, this ) ) {}
   Operation( Operation const& ) = delete;
   Operation& operator=( Operation const& ) = delete;
   ~Operation() {
      if ( sm_ )
         sm_->innermost_ = outer_;
   }

   // Returns false once the machine has gone. Nothing of the machine may be used then.
   bool goesOn() const noexcept { return sm_ != nullptr; }
   Operation* outer() const noexcept { return outer_; }
   void machineGoes() noexcept {
      sm_ = nullptr;
      if ( starting )
         std::exchange( starting, nullptr )->end();
   }

   // Borrows: the group machine in its first evaluation, until that machine has ended.
   UplinkFailureDetectionGroupSm* starting = nullptr;
   // Borrows: the group machine that is being cleaned up.
   UplinkFailureDetectionGroupSm const* ending = nullptr;

 private:
   UplinkFailureDetectionSm* sm_;
   Operation* outer_;
};

UplinkFailureDetectionSm::UplinkFailureDetectionSm(
    Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir )
    : config_( newConfig( config ) ), status_( status ), causeStatus_( causeStatus ),
      ethIntfStatusDir_( ethIntfStatusDir ) {
   Zet::require( status && causeStatus && ethIntfStatusDir,
                 "the top machine needs a status, a cause status and a directory" );
   handleInitialized();
   hasNotificationActiveIs( true );
}

UplinkFailureDetectionSm::~UplinkFailureDetectionSm() {
   for ( Operation* at = innermost_; at; at = at->outer() )
      at->machineGoes();
   uplinkFailureDetectionGroupSmMembers().forEach( []( auto& groupSm ) { groupSm.end(); } );
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
   if ( Zet::Ptr< UplinkFailureDetectionGroupSm > const groupSm =
            startedGroupSm( groupConfig->zetName() ) ) {
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
   using GroupSm = UplinkFailureDetectionGroupSm;
   auto const groupSm = Zet::validPtr( Zet::make< GroupSm >(
       GroupSm::NotStarted(), groupConfig, groupStatus, ethIntfStatusDir, causeStatus ) );
   Operation operation( *this );
   operation.starting = groupSm.get();
   groupSm->start();
   if ( operation.starting )
      groupSm_.insert( groupSm );
   return groupSm;
}

UplinkFailureDetectionGroupSm*
UplinkFailureDetectionSm::startedGroupSm( Zet::Name const& groupName ) const noexcept {
   for ( Operation const* at = innermost_; at; at = at->outer() )
      if ( at->starting && at->starting->zetKey() == groupName )
         return at->starting;
   return groupSm_.find( groupName );
}

void
UplinkFailureDetectionSm::handleInitialized() {
   Operation const operation( *this );
   handleGroup();
   if ( operation.goesOn() )
      initializedIs( true );
}

void
UplinkFailureDetectionSm::handleGroup() {
   Zet::Ptr< Config const > const config = this->config();
   if ( !config )
      return;
   Operation const operation( *this );
   for ( auto at = config->groupIteratorConst(); at && operation.goesOn(); ++at )
      handleGroup( at->name() );
}

void
UplinkFailureDetectionSm::handleGroup( Zet::Name groupName ) {
   trace( "handleGroup", "handleGroup( ", groupName, " )" );
   Operation operation( *this );
   // An observer may have removed or replaced the group meanwhile.
   for ( bool inStep = false; !inStep && operation.goesOn(); ) {
      Zet::Ptr< Config const > const config = this->config();
      if ( !config )
         return;
      Zet::Ptr< GroupConfig const > const groupConfig = config->group( groupName );
      if ( groupConfig )
         startGroup( operation, *config, groupConfig );
      else
         endGroup( operation, *config, groupName );
      inStep = config->group( groupName ) == groupConfig;
   }
}

void
UplinkFailureDetectionSm::startGroup( Operation& operation, Config const& config,
                                      Zet::Ptr< GroupConfig const > const& groupConfig ) {
   // The record comes before the machine, whose first evaluation writes into it.
   Zet::Name const& groupName = groupConfig->zetName();
   Zet::Ptr< GroupStatus > const groupStatus = status_->groupIs( groupName );
   if ( !operation.goesOn() || config.group( groupName ) != groupConfig )
      return;
   auto const groupSm =
       uplinkFailureDetectionGroupSmIs( groupConfig, groupStatus, ethIntfStatusDir_, causeStatus_ );
   // True when an observer added another group before this machine heard of the removal.
   if ( operation.goesOn() && config.group( groupName ) != groupConfig && !groupSm->ended() )
      endGroup( operation, config, groupName );
}

// Loads ahead for the groups behind this one: they are probably removed next.
void
UplinkFailureDetectionSm::fetchBehind(
    UplinkFailureDetectionGroupSm const& groupSm ) const noexcept {
   using Part = UplinkFailureDetectionGroupSm::Part;
   constexpr Part parts[] = { Part::moreMembers, Part::moreChildren, Part::members, Part::children,
                              Part::config,      Part::objects,      Part::machine };
   auto const* part = std::begin( parts );
   groupSm_.members().visitBehind( groupSm, [ & ]( auto const& at ) {
      at.fetch( *part );
      return ++part != std::end( parts );
   } );
}

void
UplinkFailureDetectionSm::endGroup( Operation& operation, Config const& config,
                                    Zet::Name const& groupName ) {
   Zet::Ptr< Status > const status = status_;
   if ( Zet::Ptr< UplinkFailureDetectionGroupSm > const groupSm = startedGroupSm( groupName ) ) {
      for ( Operation const* at = innermost_; at; at = at->outer() )
         // That operation looks again when it is done.
         if ( at->ending == groupSm )
            return;
      groupSm->end();
      fetchBehind( *groupSm );
      operation.ending = groupSm.get();
      groupSm->doCleanup();
      operation.ending = nullptr;
   }
   if ( operation.goesOn() ) {
      for ( Operation* at = innermost_; at; at = at->outer() )
         if ( at->starting && at->starting->zetKey() == groupName )
            at->starting = nullptr;
      uplinkFailureDetectionGroupSmDel( groupName );
   } else if ( config.group( groupName ) )
      // The record is that of the machine that has replaced this one.
      return;
   status->groupDel( groupName );
}

} // namespace UplinkFailureDetection
