#include "agent/Agent.h"

#include "agent/StateText.h"
#include "agent/base/WallTime.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <set>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

void
addUplinks( GroupSettings const& group, std::set< Kelnet::IntfId >& names ) {
   for ( auto uplink = group.config->intfsToMonitorIteratorConst(); uplink; ++uplink )
      names.insert( uplink.key() );
}

// Returns the uplinks of all groups, each once.
std::vector< Kelnet::IntfId >
uplinksOf( std::vector< GroupSettings > const& groups ) {
   std::set< Kelnet::IntfId > names;
   for ( GroupSettings const& group : groups )
      addUplinks( group, names );
   return { names.begin(), names.end() };
}

// Returns the ports of all groups, each once.
std::vector< Kelnet::IntfId >
portsOf( std::vector< GroupSettings > const& groups ) {
   std::set< Kelnet::IntfId > names;
   for ( GroupSettings const& group : groups )
      for ( auto port = group.config->intfsToDisableIteratorConst(); port; ++port )
         names.insert( port.key() );
   return { names.begin(), names.end() };
}

// Returns the uplinks and ports of all groups.
std::vector< Kelnet::IntfId >
interfacesOf( std::vector< GroupSettings > const& groups ) {
   std::vector< Kelnet::IntfId > names = uplinksOf( groups );
   std::vector< Kelnet::IntfId > const ports = portsOf( groups );
   names.insert( names.end(), ports.begin(), ports.end() );
   return names;
}

// Returns the prefixes that groups wait for, each once.
std::vector< Prefix >
prefixesOf( std::vector< GroupSettings > const& groups ) {
   std::set< Prefix > prefixes;
   for ( GroupSettings const& group : groups )
      for ( RouteCondition const& condition : group.policy.releaseWhen )
         if ( condition.to )
            prefixes.insert( *condition.to );
   return { prefixes.begin(), prefixes.end() };
}

} // namespace

Agent::Agent( LinkSource& source, RouteSource& routes, LinkControl& control, OwnedLinkStore& store,
              PortSettingsStore& settings, BootStore& bootStore, OrderStore& orderStore, Log& log )
    : source_( source ), routes_( routes ), log_( log ), detector_( bootStore ),
      orders_( orderStore, log ), links_( detector_.directory ),
      checks_( links_, detector_.history(), log ), readiness_( links_, routes.table() ),
      carrierWatch_( links_, source ),
      portControl_( detector_, links_, defaultRoutes_, control, store, log ),
      restoration_( links_, portControl_, routes, settings, log ),
      portReport_( detector_, links_, log ), groupLog_( detector_, links_, log ),
      stateWriter_( state_, detector_, links_, checks_, carrierWatch_, portControl_, orders_ ),
      steer_( detector_, portControl_, orders_, log ), troubles_( log ) {
   links_.listenerIs( portControl_ );
   detector_.decisions().readinessIs( readiness_ );
}

void
Agent::start( ConfigFile const& config ) {
   startupHold_ = config.startupHold;
   detector_.history().recall();
   detector_.decisions().startupHoldIs( startupHold_ );
   logWarnings( config );
   links_.watch( interfacesOf( config.groups ) );
   // Without groups, as for a release, the verdicts are those of the next ufdd.
   if ( !config.groups.empty() )
      checks_.configure( config.checks, config.massFailureDelay );
   portControl_.reasonIs( config.protoDownReason );
   portControl_.protectedAre( config.protect );
   portControl_.beginAdoption();
   source_.start( links_ );
   // These may be dormant. Taken for up, they would open a port for a moment.
   if ( std::vector< std::uint32_t > const outdated = links_.outdated(); !outdated.empty() )
      source_.query( outdated );
   portControl_.endAdoption();
   restoration_.recall();
   followRoutes( config );
   recallOrders( config );
   for ( GroupSettings const& group : config.groups )
      assumeDown( group, config );
   detector_.configure( config.groups );
   dropOrders();
   detector_.start();
   detector_.decisions().evaluate();
   detector_.decisions().confirmOpenings();
   if ( routes_.isReading() )
      routesBy_ = Zet::now() + routePatience;
   act();
   watchUplinks( config );
   handleConfigured( config );
}

bool
Agent::reload( ConfigFile config, std::string const& file ) {
   LogEvent const about{ .id = LogEvent::configuration };
   // A file without groups was probably cut short; loading it would open every port.
   if ( config.groups.empty() && config.errors.empty() )
      config.errors.push_back( file + ": there is no [[group]]; to watch nothing, stop ufdd" );
   if ( !config.errors.empty() ) {
      for ( std::string const& error : config.errors )
         log_.event( about, error );
      log_.event( about, "configuration not loaded, because of the errors above; the former one "
                         "stays in force" );
      handleNotInForce( config.errors.front(), "; " + file + " has errors and was not loaded" );
      return false;
   }
   remark_.clear();
   if ( std::exchange( startupHold_, config.startupHold ) != config.startupHold )
      log_.event( about, "startup_hold has changed; the change takes effect at the next start" );
   logWarnings( config );
   portControl_.reasonIs( config.protoDownReason );
   portControl_.protectedAre( config.protect );
   std::vector< Kelnet::IntfId > const interfaces = interfacesOf( config.groups );
   links_.watch( interfaces );
   checks_.configure( config.checks, config.massFailureDelay );
   if ( haveOrders_ )
      followOrders(); // Some may be about groups that come back.
   else
      recallOrders( config );
   for ( GroupSettings const& group : config.groups )
      if ( !detector_.config->group( group.config->name() ) )
         assumeDown( group, config );
   // Opens no port on outdated messages.
   if ( portControl_.count() > 0 )
      query( uplinksOf( config.groups ) );
   groupLog_.beginConfiguring();
   auto const [ added, changed, removed ] = detector_.configure( config.groups );
   groupLog_.endConfiguring();
   dropOrders();
   detector_.decisions().evaluate();
   detector_.decisions().moveThresholds();
   // Otherwise act() queries again.
   if ( source_.recover() )
      detector_.decisions().confirmOpenings();
   followRoutes( config );
   act();
   links_.watchOnly( interfaces );
   watchUplinks( config );
   handleConfigured( config );
   log_.event( about, "configuration loaded: groups added " + std::to_string( added ) +
                          ", changed " + std::to_string( changed ) + ", removed " +
                          std::to_string( removed ) );
   return true;
}

void
Agent::handleNotInForce( std::string const& why, std::string remark ) {
   state_->refusalIs( why );
   state_->refusalTimeIs( Zet::now() );
   remark_ = std::move( remark );
   hasNews_ = true;
}

void
Agent::logWarnings( ConfigFile const& config ) {
   for ( std::string const& warning : config.warnings )
      log_.event( { .id = LogEvent::configuration }, warning );
}

void
Agent::handleConfigured( ConfigFile const& config ) {
   auto const [ now, wall ] = Moment::now();
   state_->configTimeIs( now );
   state_->configWallIs( wall );
   state_->configSumIs( config.checksum );
   state_->refusalTimeIs( 0 );
   state_->refusalIs( {} );
   state_->detectionIs( config.detection.modeText() );
   std::vector< Zet::Name > former;
   state_->protectMembers().forEach( [ & ]( auto const& name ) {
      if ( std::ranges::count( config.protect, name.zetKey().view() ) == 0 )
         former.push_back( name.zetKey() );
   } );
   for ( Zet::Name const& name : former )
      state_->protectDel( name );
   for ( std::string const& name : config.protect )
      state_->protectIs( Zet::Name( name ), true );
   stateWriter_.configure();
}

void
Agent::watchUplinks( ConfigFile const& config ) {
   carrierWatch_.uplinksAre( uplinks_ );
   carrierWatch_.settingsAre( config.detection );
}

void
Agent::followRoutes( ConfigFile const& config ) {
   uplinks_ = uplinksOf( config.groups );
   restoration_.portsAre( portsOf( config.groups ) );
   if ( config.groups.empty() )
      return;
   try {
      routes_.follow( prefixesOf( config.groups ) );
   } catch ( std::system_error const& error ) {
      log_.event( { .id = LogEvent::trouble },
                  std::string( "routes can't be followed as configured: " ) + error.what() +
                      "; ports may be shut that carry the default route, and release_when may "
                      "wait in vain; then reload the configuration" );
   }
   linksShape_ = 0;
   updateRoutes();
}

bool
Agent::updateRoutes() {
   std::uint64_t const version = routes_.table().version();
   bool const isSame = routesVersion_ == version && linksShape_ == links_.shape();
   routesVersion_ = version;
   linksShape_ = links_.shape();
   if ( isSame )
      return false;
   defaultRoutes_.clear();
   links_.forEachLink( [ this ]( Link const& link ) { defaultRoutes_.add( link ); } );
   for ( Kelnet::IntfId const uplink : uplinks_ )
      if ( Link const* const link = links_.link( uplink ) )
         defaultRoutes_.addUplink( link->index );
   for ( bool const isV6 : { false, true } ) {
      auto const [ begin, end ] = routes_.table().routes().equal_range( Prefix{ .isV6 = isV6 } );
      for ( auto at = begin; at != end; ++at )
         defaultRoutes_.add( at->second );
   }
   return true;
}

void
Agent::assumeDown( GroupSettings const& group, ConfigFile const& config ) {
   std::vector< Kelnet::IntfId > ports, latched;
   for ( auto port = group.config->intfsToDisableIteratorConst(); port; ++port )
      if ( portControl_.isOursOrOverridden( port.key() ) && !isOrderedDown( port.key(), config ) )
         ports.push_back( port.key() );
   for ( auto const& [ name, port ] : orders_.book().latches )
      if ( name == group.name() && !group.policy.autoRecover )
         latched.emplace_back( port );
   if ( !latched.empty() )
      detector_.decisions().assumeLatched( group.config->name(), std::move( latched ) );
   else if ( !ports.empty() )
      detector_.decisions().assumeDown( group.config->name(), std::move( ports ) );
}

bool
Agent::isOrderedDown( Kelnet::IntfId port, ConfigFile const& config ) const {
   OrderBook const& book = orders_.book();
   return book.ports.contains( port.name().view() ) ||
          std::ranges::any_of( config.groups, [ & ]( GroupSettings const& group ) {
             return group.config->intfsToDisable( port ) &&
                    group.policy.mode( book.ofGroup( group.name() ) ) == GroupMode::orderedDown;
          } );
}

void
Agent::recallOrders( ConfigFile const& config ) {
   // Without groups, as for a release, nothing is shut. The orders are those of the next ufdd, or
   // of the configuration that is loaded later.
   if ( config.groups.empty() )
      return;
   haveOrders_ = true;
   orders_.recall();
   orders_.endOver( Zet::now() );
   followOrders();
}

void
Agent::dropOrders() {
   if ( !haveOrders_ || mayFormerReturn_ )
      return;
   orders_.keepOnly(
       [ & ]( std::string const& name ) {
          return detector_.config->group( Zet::Name( name ) ) != nullptr;
       },
       [ & ]( std::string const& name ) {
          for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
             if ( group->intfsToDisable( Kelnet::IntfId( name ) ) )
                return true;
          return false;
       } );
   followOrders();
}

void
Agent::formerMayReturnIs( bool mayReturn ) {
   mayFormerReturn_ = mayReturn;
   dropOrders();
}

void
Agent::followOrders() {
   detector_.decisions().ordersAre( orders_.book() );
   portControl_.reviewAll();
   stateWriter_.handleOrders();
}

void
Agent::endOrders() {
   if ( !orders_.hasOver() || readAgainAt_ || !isSureOfUplinks() )
      return;
   orders_.endOver( Zet::now() );
   followOrders();
}

bool
Agent::isSureOfUplinks() {
   if ( portControl_.count() == 0 )
      return true;
   query( uplinks_ );
   if ( source_.recover() )
      return true;
   readAgainAt_ = Zet::now() + readAgainSeconds;
   return false;
}

ControlReply
Agent::report( ControlRequest const& request ) {
   using Word = ControlRequest::Report::Word;
   std::vector< UplinkChecks::Result > results;
   for ( auto const& [ check, word, reason ] : request.reports )
      results.push_back( { check,
                           word == Word::up     ? CheckResult::pass
                           : word == Word::down ? CheckResult::fail
                                                : CheckResult::unknown,
                           reason } );
   ControlReply reply;
   if ( auto const objection = checks_.report( results ) ) {
      reply.kind = objection->isUnknown ? ControlReply::Kind::unknown : ControlReply::Kind::refused;
      reply.text = objection->text;
   }
   recordHistory();
   return reply;
}

ControlReply
Agent::handle( ControlRequest const& request ) {
   if ( request.verb == ControlRequest::Verb::automatic && !isSureOfUplinks() )
      return { .kind = ControlReply::Kind::failed,
               .text =
                   "nothing was done, since ufdd reads all links again just now; try again in a "
                   "second",
               .toShut = {},
               .toOpen = {} };
   // The answer tells what moves for the request, and not for what was seen before.
   act();
   bool const isReport = request.verb == ControlRequest::Verb::report;
   ControlReply reply = isReport ? report( request ) : steer_.handle( request );
   if ( !isReport && !request.isDryRun && reply.kind == ControlReply::Kind::done )
      followOrders();
   act();
   stateWriter_.write();
   return reply;
}

void
Agent::endTurn() {
   readAgainAt_.reset();
   if ( !source_.recover() )
      readAgainAt_ = Zet::now() + readAgainSeconds;
   reportTroubles();
   // Acts on known changes before it queries the uplinks.
   act();
   if ( source_.tookMessages() ) {
      carrierWatch_.probeForAWhile();
      act();
   }
   routes_.recover();
   if ( updateRoutes() )
      act();
   if ( checks_.endTurn() ) {
      recordHistory();
      act();
   }
   restoration_.endTurn();
   orders_.endTurn();
   recordHistory();
   hasNews_ |= stateWriter_.write();
}

void
Agent::recordHistory() {
   if ( std::string trouble = detector_.history().remember(); !trouble.empty() )
      log_.event( { .id = LogEvent::trouble }, trouble );
}

void
Agent::reportTroubles() {
   if ( std::string trouble = source_.takeTrouble(); !trouble.empty() ) {
      troubles_.add( std::move( trouble ) );
      stateWriter_.handleTrouble();
   }
   if ( std::string trouble = routes_.takeTrouble(); !trouble.empty() )
      troubles_.add( std::move( trouble ) );
   troubles_.report();
}

void
Agent::act() {
   actOnPorts();
   detector_.decisions().moveThresholds();
   auto const results = portControl_.takeResults();
   double const actedAt = results.empty() ? 0 : Zet::now();
   groupLog_.tellTransitions();
   groupLog_.tell( detector_.decisions().takeRemarks() );
   stateWriter_.handleTransitions( groupLog_.takeTold() );
   portReport_.tell( results );
   restoration_.handleResults( results );
   stateWriter_.handleResults( results, actedAt );
   groupLog_.tellUplinks( links_.changes() );
   checks_.handleChanges( links_.changes() );
   links_.forgetChanges();
}

void
Agent::actOnPorts() {
   endOrders();
   detector_.decisions().evaluate();
   if ( awaitsRoutes() )
      return;
   if ( retryAt_ && Zet::now() >= *retryAt_ ) {
      retryAt_.reset();
      portControl_.retry();
   }
   carryOut();
   if ( detector_.decisions().hasOpenings() && !readAgainAt_ )
      open();
   if ( !portControl_.hasFailures() )
      retryAt_.reset();
   else if ( !retryAt_ )
      retryAt_ = Zet::now() + retrySeconds;
}

// A former process may have ended while uplinks were down: a port must not be shut only because it
// is not known yet that it carries the default route.
bool
Agent::awaitsRoutes() {
   if ( !routesBy_ )
      return false;
   bool const isReading = routes_.isReading();
   if ( isReading && Zet::now() < *routesBy_ )
      return true;
   if ( isReading )
      log_.event( { .id = LogEvent::trouble },
                  "the routes could not be read in time: ports are shut even if they carry the "
                  "default route, until the routes are read" );
   routesBy_.reset();
   updateRoutes();
   return false;
}

void
Agent::open() {
   detector_.decisions().moveThresholds();
   query( detector_.decisions().uplinksToQuery() );
   if ( !source_.recover() ) {
      readAgainAt_ = Zet::now() + readAgainSeconds;
      return;
   }
   detector_.decisions().confirmOpenings();
   carryOut();
}

void
Agent::carryOut() {
   for ( Zet::Name const& name : detector_.decisions().takeRisen() )
      if ( auto const group = detector_.config->group( name ) )
         for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
            if ( portControl_.exists( port.key() ) && !portControl_.isOurs( port.key() ) )
               detector_.decisions().unlatch( name, port.key() );
   if ( haveOrders_ && detector_.decisions().takeLatchesChanged() )
      orders_.latchesAre( detector_.decisions().latches() );
   portControl_.act();
}

void
Agent::query( std::span< Kelnet::IntfId const > uplinks ) {
   std::vector< std::uint32_t > indexes;
   for ( Kelnet::IntfId const uplink : uplinks )
      if ( Link const* const link = links_.link( uplink ) )
         indexes.push_back( link->index );
   if ( !indexes.empty() )
      source_.query( indexes );
}

double
Agent::nextTime() const {
   double next = std::min( detector_.history().nextTime(), checks_.nextTime() );
   if ( !routesBy_ )
      next = std::min( next, detector_.decisions().nextTime() );
   if ( detector_.decisions().hasOpenings() && !readAgainAt_ && !routesBy_ )
      next = Zet::now();
   if ( !readAgainAt_ )
      next = std::min( next, orders_.nextTime() );
   for ( auto const& time : { routesBy_, retryAt_, readAgainAt_, troubles_.nextTime(),
                              routes_.nextTime(), restoration_.nextTime() } )
      next = std::min( next, time.value_or( never ) );
   return next;
}

bool
Agent::openAll() {
   bool const isDone = portControl_.openAll();
   portReport_.tellReleased( portControl_.takeResults() );
   return isDone;
}

bool
Agent::restoreAll( bool isLast ) {
   source_.query( {} );
   return restoration_.finish( isLast );
}

std::vector< std::string >
Agent::statusLines() const {
   return stateLines( roots(), Moment::now() );
}

std::string
Agent::summary() const {
   return summaryLine( roots() ) + remark_;
}

} // namespace Ufdd
