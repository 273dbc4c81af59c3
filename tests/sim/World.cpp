#include "tests/sim/World.h"

#include "model/GroupStatus.h"
#include "platform/zet/Clock.h"
#include "tests/agent/Directory.h"
#include "tests/sim/StateOracle.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace Simulation {

namespace {

double simulatedNow = 0;

// Longer than all delays together, since groups may depend on others.
constexpr double restSeconds = 30;
constexpr double quietSeconds = 70;
constexpr unsigned int manyTurns = 10000;

std::string
socketPath() {
   static Ufdd::Directory const directory;
   return directory.path() + "/status";
}

} // namespace

World::Clock::Clock() {
   simulatedNow = 1000;
   Zet::clockIs( [] { return simulatedNow; } );
}

World::Clock::~Clock() {
   Zet::clockIs( nullptr );
}

World::World( std::uint64_t seed )
    : seed_( seed ), config_( PlainConfig( seed ) ), readers_( socketPath() ) {
   machine_.routes.delay = static_cast< double >( seed % 3 ) * 0.3;
   pass( 1 );
   start();
}

World::~World() = default;

void
World::line( std::string_view text ) {
   story_.append( "   " ).append( text ) += '\n';
   if ( text.find( "all links are read again" ) != text.npos )
      toldLosses_ = machine_.kernel.losses;
}

void
World::forget() {
   story_ = {};
   machine_.kernel.acts = {};
   for ( auto& [ name, link ] : machine_.kernel.links() )
      link.openings = {};
   for ( Ufdd::OwnedLink const& owned : machine_.store.overrides )
      machine_.cleared.insert( owned.index );
}

void
World::complain( std::string const& what ) {
   if ( complaint_.empty() )
      complaint_ = what;
}

template < class Action >
void
World::run( Action action ) {
   try {
      action();
   } catch ( Killed const& ) {
      line( "killed in the middle of it" );
      kill();
   }
}

void
World::kill() {
   process_.reset();
   readers_.disconnect();
   machine_.handleKilled();
   machine_.failed = machine_.recordedFailed();
   fallenGroups_.handleKilled();
   complain( machine_.kernel.violations );
}

void
World::start() {
   suspendedUntil_ = 0;
   restraint_.handleConfig( simulatedNow, true );
   isRefused_ = false;
   toldLosses_ = machine_.kernel.losses;
   // The record may have been removed while there was no daemon.
   if ( machine_.store.wasRemoved )
      machine_.handleKilled();
   run( [ this ] {
      process_.emplace( machine_, socketPath(), static_cast< Ufdd::Log& >( *this ) );
      process_->server.listen();
      process_->agent.start( Ufdd::parseConfig( config_.toml(), "toml" ) );
   } );
   // It may have been removed in the midst of the start.
   if ( machine_.settings.wasLost )
      machine_.forgetUnrecordedRoutes();
   turn();
   readers_.connect();
}

void
World::reload( PlainConfig const& config, std::string const& more ) {
   suspendedUntil_ = 0;
   Ufdd::ConfigFile const file = Ufdd::parseConfig( config.toml() + more, "toml" );
   if ( file.errors.empty() == !more.empty() )
      complain( "a configuration is taken for wrong or right" );
   isRefused_ = process_ && ( !more.empty() || config.groups.empty() );
   std::string const difference = isRefused_ ? "not loaded" : config.differenceFrom( config_ );
   std::size_t const before = story_.size();
   if ( !isRefused_ ) {
      config_ = config;
      restraint_.handleConfig( simulatedNow, false );
      fallenGroups_.handleConfig();
   }
   if ( process_ )
      run( [ & ] {
         process_->agent.reload( file, "toml" );
         process_->endTurn();
      } );
   if ( process_ && story_.find( difference, before ) == std::string::npos )
      complain( "it does not say that " + difference );
   turn();
}

void
World::turn() {
   machine_.kernel.handleTime();
   machine_.look();
   if ( !process_ || simulatedNow < suspendedUntil_ )
      return;
   std::uint32_t const route = machine_.route;
   Names const spared = sparedLinks();
   restraint_.beginTurn();
   run( [ this ] {
      turns_ += process_->turn();
      // A second end of the turn finds nothing to do, unless messages have come.
      std::size_t const done = machine_.kernel.acts.size();
      bool const isDone = process_->nextTime() > simulatedNow;
      if ( !machine_.kernel.hasMessages() )
         process_->endTurn();
      if ( isDone && machine_.kernel.acts.size() != done )
         complain( "a turn left undone: " + machine_.kernel.acts.substr( done ) );
      for ( auto const& client : process_->server.clients() )
         if ( client->unsentSize() > Process::unsentLimit )
            complain( "too much waits for a client" );
      checkRecord();
   } );
   for ( std::string const& name : spared )
      if ( machine_.route == route && machine_.kernel.contains( name ) &&
           machine_.kernel.link( name ).isOurs() )
         complain( name + " is shut while it carries the default route" );
   machine_.look();
   if ( process_ ) {
      complain( restraint_.complaint( simulatedNow ) );
      complain( fallenGroups_.follow( process_->agent, machine_.kernel.hasMessages() ) );
      if ( !machine_.bootStore.isFull &&
           process_->agent.detector().history().nextTime() == Ufdd::never &&
           machine_.recordedFailed() != machine_.failed )
         complain( "what a check counts as is recorded wrongly" );
   }
   readers_.readAll();
}

// Returns the links that the daemon must not shut: it knows all, and they carry the default route.
// Returns none while its orders, which may be forced, are not on record.
Names
World::sparedLinks() {
   Names spared;
   Oracle const oracle( config_, machine_ );
   if ( !machine_.kernel.hasMessages() && !process_->hasRouteNews() && !machine_.orders.isGone )
      for ( auto const& [ name, link ] : machine_.kernel.links() )
         if ( machine_.carriesRoute( link ) && !link.isOurs() && !machine_.recorded( link ) &&
              !oracle.mayBeShut( name, false ) )
            spared.insert( name );
   return spared;
}

// Checks that the record of each link is true, or is corrected soon.
void
World::checkRecord() {
   complain( machine_.kernel.violations );
   for ( auto& [ name, link ] : machine_.kernel.links() ) {
      Ufdd::OwnedLink const* const owned = machine_.recorded( link );
      if ( !owned || owned->isApplied( link ) || Machine::losesAnswers( link ) ||
           machine_.lacksRecord() )
         link.wrongSince = 0;
      else if ( link.wrongSince == 0 )
         link.wrongSince = simulatedNow;
      // After each lost query, the daemon reads the links again a second later.
      else if ( simulatedNow - link.wrongSince > 4 )
         complain( name + " is recorded, but open" );
   }
}

double
World::nextTime() const {
   double time = machine_.kernel.nextTime();
   if ( !process_ )
      return time;
   return std::min( time, std::max( process_->nextTime(), suspendedUntil_ ) );
}

void
World::pass( double seconds ) {
   double const end = simulatedNow + seconds;
   unsigned int const before = turns_;
   for ( double next; complaint_.empty() && ( next = nextTime() ) <= end; ) {
      simulatedNow = std::max( simulatedNow, next );
      turn();
      if ( turns_ - before > manyTurns )
         complain( "the daemon finds no rest" );
   }
   simulatedNow = end;
}

void
World::apply( Event const& event ) {
   story_ += event.text() + " at " + std::to_string( simulatedNow ) + '\n';
   std::string_view const verb = event.verb;
   if ( event.pause == race )
      return machine_.applyMeanwhile( event );
   if ( verb == "kill" || verb == "stop" || verb == "boot" ) {
      run( [ & ] {
         if ( process_ && verb == "stop" ) {
            process_->agent.openAll();
            process_->agent.restoreAll( true );
         }
      } );
      kill();
   }
   if ( verb == "boot" ) {
      machine_.boot( event.b );
      restraint_.handleBoot();
   }
   if ( ( verb == "start" || ( ( verb == "kill" || verb == "boot" ) && event.a % 2 ) ) &&
        !process_ )
      start();
   else if ( verb == "suspend" )
      suspendedUntil_ = simulatedNow + ( event.b % 2 ? 30 : 0.3 );
   else if ( verb == "reload" )
      reload( PlainConfig( seed_ + event.b % 3 ) );
   else if ( verb == "badReload" )
      reload( PlainConfig( seed_ + event.b % 3 ), "min_links = 1" );
   else if ( verb == "squat" && !process_ )
      std::ofstream( socketPath() ) << "a file";
   else if ( verb == "rest" )
      rest();
   else if ( verb == "fight" )
      for ( std::size_t i = 0; i <= Ufdd::PortActs::maxReopenings; ++i ) {
         bool const isLast = i == Ufdd::PortActs::maxReopenings;
         machine_.apply( isLast && event.b & 2 ? Event{ "slip", event.a, 3, none }
                         : event.b & 1         ? Event{ "protoDown", event.a, 0, none }
                                               : Event{ "admin", event.a, true, none } );
         pass( 0.1 );
      }
   else if ( verb == "storm" && event.a % 4 == 0 )
      storm( event );
   else if ( verb == "steer" )
      steer( event );
   else if ( verb == "report" )
      report( event );
   else
      machine_.apply( event );
   machine_.look();
   readers_.apply( event );
   if ( event.pause > none )
      pass( pauses[ event.pause ].seconds );
}

// Changes more than a client may leave unread, for longer than a client may.
void
World::storm( Event const& event ) {
   readers_.apply( { "connect", event.b, 2, none } );
   bool const isServed = readers_.read( event.b ) && event.b & 4;
   for ( unsigned int i = 0; i < 60; ++i ) {
      if ( i == 30 && isServed )
         readers_.read( event.b );
      for ( unsigned int uplink = 0; uplink < 4; ++uplink )
         machine_.apply( { "admin", uplink, i, none } );
      pass( 0.1 );
   }
   if ( isServed && process_ && !readers_.read( event.b ) )
      complain( "a client was dropped too early" );
   readers_.apply( { "read", event.b, event.b / 8, none } );
   pass( 0.1 );
   if ( process_ && simulatedNow > suspendedUntil_ )
      complain( readers_.complaint( process_->agent.roots(), false ) );
}

// A check of an uplink has a result.
void
World::report( Event const& event ) {
   using Word = Ufdd::ControlRequest::Report::Word;
   std::string const number = std::to_string( event.a % PlainConfig::checks );
   // Without a group, ufdd has no check either.
   if ( !process_ || simulatedNow < suspendedUntil_ ||
        !process_->agent.roots().state->check( 'c' + number ) )
      return;
   Word const word = std::array{ Word::down, Word::up, Word::unknown }[ event.b % 3 ];
   machine_.look();
   if ( word == Word::down )
      machine_.failed.insert( 'u' + number );
   else if ( word == Word::up )
      machine_.failed.erase( 'u' + number );
   machine_.look();
   Ufdd::ControlRequest request;
   request.verb = Ufdd::ControlRequest::Verb::report;
   request.reports.push_back( { 'c' + number, word, "" } );
   run( [ & ] {
      if ( process_->agent.handle( request ).kind != Ufdd::ControlReply::Kind::done )
         complain( "a report is refused" );
      process_->endTurn();
   } );
   restraint_.forget();
   turn();
}

// An operator orders something.
void
World::steer( Event const& event ) {
   using Verb = Ufdd::ControlRequest::Verb;
   static constexpr Verb verbs[] = { Verb::down,      Verb::disable, Verb::clear,
                                     Verb::automatic, Verb::down,    Verb::automatic };
   static constexpr char const* targets[] = { "g0", "g1", "g2", "d0", "d1", "d2", "d3" };
   static constexpr std::optional< double > holds[] = { {}, 0.5, 4, 15 };
   if ( !process_ || simulatedNow < suspendedUntil_ )
      return;
   unsigned int const how = event.b;
   Ufdd::ControlRequest const request{ .verb = verbs[ how % 6 ],
                                       .targets = { targets[ event.a % 7 ] },
                                       .holdFor = holds[ how / 6 % 4 ],
                                       .confirmWithin = {},
                                       .reason = how % 5 ? "" : "new % switch",
                                       .isForced = how / 24 % 2 != 0,
                                       .isDryRun = how / 48 % 8 == 0,
                                       .uid = how / 7 };
   Ufdd::OrderBook const before = machine_.orders.book;
   if ( request.verb == Verb::clear && !request.isDryRun ) {
      Oracle const oracle( config_, machine_ );
      for ( std::string const &name :
            oracle.linksIf( [ & ]( PlainGroup const&group, std::string const&port ) {
               return group.name == request.targets[ 0 ] || port == request.targets[ 0 ];
            } ) )
         machine_.cleared.insert( machine_.kernel.link( name ).index );
   }
   unsigned int const races = machine_.races();
   run( [ & ] {
      Ufdd::ControlReply const reply = process_->agent.handle( request );
      line( "the answer: " + reply.text );
      process_->endTurn();
      // Meanwhile the disk may have become free again.
      if ( reply.kind != Ufdd::ControlReply::Kind::failed || machine_.races() == races )
         complain( complaintAbout( request, reply, before ) );
   } );
   restraint_.forget();
}

std::string
World::complaintAbout( Ufdd::ControlRequest const& request, Ufdd::ControlReply const& reply,
                       Ufdd::OrderBook const& before ) const {
   using Verb = Ufdd::ControlRequest::Verb;
   using Kind = Ufdd::ControlReply::Kind;
   std::string const& target = request.targets[ 0 ];
   bool const isGroup = target[ 0 ] == 'g';
   bool const isNamed = std::ranges::any_of( config_.groups, [ & ]( PlainGroup const& group ) {
      return group.name == target ||
             ( request.verb != Verb::disable && group.disable.contains( target ) );
   } );
   Ufdd::OrderBook const& book = machine_.orders.book;
   auto const ordersOf = [ & ]( Ufdd::OrderBook const& from ) -> Ufdd::OrderBook::Orders const& {
      return isGroup ? from.groups : from.ports;
   };
   if ( reply.kind != Kind::failed && ( reply.kind == Kind::unknown ) == isNamed )
      return target + " is known or unknown wrongly";
   if ( reply.kind == Kind::failed && !machine_.orders.isFull && !machine_.store.isFull &&
        request.verb != Verb::automatic )
      return "an order is refused without a reason";
   bool const isCarriedOut = reply.kind == Kind::done && !request.isDryRun;
   auto const order = ordersOf( book ).find( target );
   bool const isThere = order != ordersOf( book ).end();
   // Others may remove the record meanwhile, and orders end.
   if ( !isCarriedOut && !machine_.orders.isGone &&
        ( book.groups.size() > before.groups.size() || book.ports.size() > before.ports.size() ) )
      return "an order is recorded that was not given";
   if ( !isCarriedOut || machine_.orders.isGone || request.verb == Verb::clear )
      return "";
   if ( request.verb == Verb::automatic )
      // An order that is over may be on record as long as the disk is full.
      return isThere && order->second.until > simulatedNow
                 ? "an order is recorded that was taken back"
                 : "";
   return isThere && order->second.uid == request.uid && order->second.reason == request.reason &&
                  ( order->second.kind == Ufdd::OrderKind::down ) == ( request.verb == Verb::down )
              ? ""
              : "an order is not recorded";
}

void
World::rest() {
   machine_.endFaults();
   suspendedUntil_ = 0;
   if ( std::filesystem::is_regular_file( socketPath() ) )
      std::filesystem::remove( socketPath() );
   if ( !process_ )
      start();
   // Two losses in a row: the daemon may log the second one later.
   for ( unsigned int i = 0; i < 2 && seed_ % 8 == 0; ++i ) {
      machine_.kernel.overrun( false );
      pass( 0.1 );
   }
   pass( restSeconds );
   readers_.connect();
   pass( 1 );
   unsigned int const before = turns_;
   std::size_t const told = story_.size();
   pass( quietSeconds );
   // Once an hour it tells of orders.
   if ( turns_ != before && story_.find( "this order stands", told ) == story_.npos )
      complain( "the daemon does something, though nothing happens" );
   check( Oracle( config_, machine_ ) );
}

void
World::check( Oracle const& oracle ) {
   // Nothing has happened to these links for so long that the daemon knows them.
   for ( PlainGroup const& group : config_.groups )
      for ( Names const* const names : { &group.monitor, &group.disable } )
         std::copy_if(
             names->begin(), names->end(), std::inserter( machine_.proven, machine_.proven.end() ),
             [ this ]( std::string const& name ) { return machine_.find( name ) != nullptr; } );
   complain( oracle.complaint() );
   checkStatus( oracle );
   if ( oracle.isSettled() )
      checkRoutes();
}

// Checks that each route that the daemon has made the kernel drop is back, or on record.
void
World::checkRoutes() {
   for ( auto const& [ name, link ] : machine_.kernel.links() ) {
      auto const at = machine_.routes.links.find( link.index );
      if ( at == machine_.routes.links.end() )
         continue;
      StaticRoutes::Kept& kept = at->second;
      bool const isOwed = machine_.isOwed( link.index, kept );
      if ( kept.fate == StaticRoutes::Fate::ours && ( link.adminUp || !isOwed ) )
         complain( name + " has lost its route" + ( isOwed ? "" : ", and no record knows it" ) );
      kept.mayReturn = isOwed;
   }
}

void
World::checkStatus( Oracle const& oracle ) {
   auto const status = process_->agent.roots().status;
   if ( status->groupMembers().count() != config_.groups.size() )
      complain( "groups are not as configured" );
   for ( PlainGroup const& group : config_.groups ) {
      auto const groupStatus = status->group( Zet::Name( group.name ) );
      if ( !groupStatus ||
           ( groupStatus->groupLinkStatus() == UplinkFailureDetection::GroupLinkStatus::down ) !=
               oracle.isDown( group ) )
         complain( group.name + " is not " + ( oracle.isDown( group ) ? "down" : "up" ) );
   }
   std::string const groups = std::to_string( config_.groups.size() );
   std::string const summary = process_->agent.summary();
   if ( !summary.starts_with( groups + ( groups == "1" ? " group, " : " groups, " ) +
                              std::to_string( oracle.downGroups().size() ) +
                              " down; ports shut: " + std::to_string( oracle.heldPorts() ) ) ||
        summary.ends_with( "has errors and was not loaded" ) != isRefused_ )
      complain( "it says " + summary );
   if ( toldLosses_ != machine_.kernel.losses )
      complain( "messages were lost, and the daemon did not say so" );
   for ( auto const& client : process_->server.clients() )
      if ( client->unsentSize() != 0 )
         complain( "something waits for a client" );
   if ( oracle.isSettled() )
      complain(
          StateOracle( config_, oracle, machine_ ).complaint( *process_->agent.roots().state ) );
   complain( readers_.complaint( process_->agent.roots(), true ) );
}

// Loads another configuration. A group that stays up or down must not pass through another state,
// and links that no group names any more must be forgotten.
void
World::change() {
   auto const turnsDown = [ this ]( std::string const& name ) {
      return process_->agent.roots().status->group( Zet::Name( name ) )->numTimesDisabled();
   };
   PlainConfig const next( seed_ + 1 );
   Names const before = Oracle( config_, machine_ ).downGroups();
   Names const after = Oracle( next, machine_ ).downGroups();
   std::map< std::string, std::uint64_t > times;
   for ( PlainGroup const& group : config_.groups )
      times[ group.name ] = turnsDown( group.name );
   reload( next );
   for ( PlainGroup const& group : config_.groups )
      if ( !config_.isLayered && times.contains( group.name ) &&
           turnsDown( group.name ) - times[ group.name ] >
               ( after.contains( group.name ) && !before.contains( group.name ) ) )
         complain( "while the configuration changed, group " + group.name + " went down" );
   for ( auto const& link : machine_.kernel.links() )
      if ( std::none_of( config_.groups.begin(), config_.groups.end(),
                         [ & ]( PlainGroup const& group ) {
                            return group.monitor.contains( link.first ) ||
                                   group.disable.contains( link.first );
                         } ) &&
           process_->agent.links().link( Kelnet::IntfId( link.first ) ) )
         complain( link.first + " is known, though no group names it" );
   pass( restSeconds );
   check( Oracle( config_, machine_ ) );
}

void
World::restart() {
   machine_.kernel.acts.clear();
   kill();
   start();
   pass( restSeconds );
   for ( auto const& [ name, link ] : machine_.kernel.links() )
      if ( machine_.kernel.acts.find( name ) != std::string::npos )
         complain( "the restart moved ports:" + machine_.kernel.acts );
   check( Oracle( config_, machine_ ) );
}

void
World::flap( std::string const& uplink ) {
   if ( !machine_.kernel.contains( uplink ) || !machine_.kernel.link( uplink ).cable )
      return;
   line( "flap of " + uplink );
   Names const touched = Oracle( config_, machine_ ).touchedBy( uplink );
   machine_.kernel.acts.clear();
   // Another link loses its carrier first: the kernel delays the uplink's message. The daemon's
   // queries must find the loss, even if the message about the other link is lost.
   machine_.kernel.carrier( "m9", !machine_.kernel.link( "m9" ).cable );
   simulatedNow += 0.001;
   machine_.kernel.handleTime();
   if ( seed_ / 2 % 2 )
      machine_.kernel.overrun( false );
   pass( 0.3 );
   for ( bool const carrier : { false, true } ) {
      Oracle oracle( config_, machine_ );
      Names const before = oracle.downGroups();
      Names const leftAlone = oracle.leftAlone();
      machine_.kernel.carrier( uplink, carrier );
      // A restart right after the change must not cut a delay short. Only for a group that shares
      // no ports with others.
      if ( config_.groups.size() == 1 ) {
         kill();
         start();
      }
      // Checks shortly after each delay, unless groups depend on others.
      double passed = 0;
      for ( double const seconds : { 0.25, 1.25, 2.25, 3.25 } )
         if ( config_.asks && !config_.isLayered ) {
            pass( seconds - std::exchange( passed, seconds ) );
            oracle.changed( seconds, before, leftAlone );
            check( oracle );
         }
      pass( restSeconds );
      check( Oracle( config_, machine_ ) );
   }
   for ( auto const& [ name, link ] : machine_.kernel.links() )
      if ( !touched.contains( name ) && machine_.kernel.acts.find( name ) != std::string::npos )
         complain( "a flap of " + uplink + " moved " + name );
}

void
World::stop() {
   if ( !process_->agent.openAll() )
      complain( "not all ports can be opened" );
   process_->agent.restoreAll( true );
   checkRoutes();
   kill();
   for ( auto const& [ name, link ] : machine_.kernel.links() )
      if ( link.ours || link.hasProtoDownReason( Ufdd::Link::usualReason ) )
         complain( name + " was not opened" );
   if ( !machine_.store.links.empty() )
      complain( "ports are still recorded: " + machine_.store.names() );
}

void
World::conclude() {
   rest();
   // Either restarts with the present configuration, or loads another one.
   if ( seed_ % 2 )
      restart();
   else
      change();
   for ( char const* const uplink : { "u0", "u1", "u2", "x3" } )
      flap( uplink );
   if ( seed_ % 2 == 0 )
      restart();
   stop();
}

} // namespace Simulation
