#include "tests/sim/World.h"

#include "model/GroupStatus.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <utility>

namespace Simulation {

namespace {

double simulatedNow = 0;

// All delays are over by then, and those of groups that depend on others.
constexpr double restSeconds = 30;
constexpr double quietSeconds = 70;
constexpr unsigned int manyTurns = 10000;

} // namespace

World::World( std::uint64_t seed ) : seed_( seed ), config_( PlainConfig( seed ) ) {
   simulatedNow = 1000;
   Zet::clockIs( [] { return simulatedNow; } );
   pass( 1 );
   start();
}

World::~World() {
   process_.reset();
   Zet::clockIs( nullptr );
}

void
World::line( std::string_view text ) {
   story_.append( "   " ).append( text ) += '\n';
}

void
World::forget() {
   story_ = {};
   machine_.kernel.acts = {};
   for ( auto& [ name, link ] : machine_.kernel.links() )
      link.openings = {};
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
   machine_.handleKilled();
   complain( machine_.kernel.violations );
}

void
World::start() {
   suspendedUntil_ = 0;
   startupEnd_ = simulatedNow + config_.startupHold;
   run( [ this ] {
      process_.emplace( *this );
      process_->agent.start( Ufdd::parseConfig( config_.toml(), "toml" ).groups, machine_.kernel,
                             config_.startupHold );
      reload( 0 );
   } );
}

// 0 for the same.
void
World::reload( std::uint64_t number ) {
   suspendedUntil_ = 0;
   if ( number )
      config_ = PlainConfig( number );
   Ufdd::ConfigFile const file = Ufdd::parseConfig( config_.toml(), "toml" );
   for ( std::string const& error : file.errors )
      complain( error );
   if ( !process_ )
      return;
   std::vector< Kelnet::IntfId > uplinks;
   for ( PlainGroup const& group : config_.groups )
      for ( std::string const& name : group.monitor )
         uplinks.emplace_back( name );
   run( [ & ] {
      if ( number )
         process_->agent.reload( file.groups );
      process_->watch.uplinksAre( uplinks );
      process_->watch.settingsAre( file.detection );
   } );
   turn();
}

void
World::turn() {
   machine_.kernel.handleTime();
   if ( !process_ || simulatedNow < suspendedUntil_ )
      return;
   ++turns_;
   std::size_t const acts = machine_.kernel.acts.size();
   run( [ this ] {
      machine_.kernel.deliver();
      Process& process = *process_;
      if ( process.tickAt && simulatedNow >= *process.tickAt ) {
         process.tickAt.reset();
         process.watch.handleTick();
      }
      if ( machine_.kernel.takeNews() )
         process.watch.handleNews();
      process.agent.settle();
      if ( process.watch.tickMs() == 0 )
         process.tickAt.reset();
      else if ( !process.tickAt )
         process.tickAt = simulatedNow + process.watch.tickMs() / 1000.0;
      checkMemory();
   } );
   if ( simulatedNow < startupEnd_ && machine_.kernel.acts.size() != acts )
      complain( "ports are not left as they were found" );
}

// What is remembered of a link is so, or is corrected when it is tried again.
void
World::checkMemory() {
   complain( machine_.kernel.violations );
   for ( auto& [ name, link ] : machine_.kernel.links() ) {
      Ufdd::Holding const* const holding = machine_.remembered( link );
      if ( !holding || holding->isOn( link ) || Machine::losesAnswers( link ) ||
           machine_.ownership.hasFailed || simulatedNow < startupEnd_ )
         link.wrongSince = 0;
      else if ( link.wrongSince == 0 )
         link.wrongSince = simulatedNow;
      else if ( simulatedNow - link.wrongSince > 2 )
         complain( name + " is remembered, but open" );
   }
}

double
World::nextTime() const {
   double time = machine_.kernel.nextTime();
   if ( !process_ )
      return time;
   double daemon = process_->agent.nextTime().value_or( time );
   daemon = std::min( daemon, process_->tickAt.value_or( daemon ) );
   if ( machine_.kernel.hasNews() )
      daemon = simulatedNow;
   return std::min( time, std::max( daemon, suspendedUntil_ ) );
}

void
World::pass( double seconds ) {
   double const end = simulatedNow + seconds;
   unsigned int const before = turns_;
   while ( nextTime() <= end && complaint_.empty() ) {
      simulatedNow = std::max( simulatedNow, nextTime() );
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
   if ( verb == "kill" || verb == "stop" ) {
      run( [ & ] {
         if ( process_ && verb == "stop" )
            process_->agent.release();
      } );
      kill();
   }
   if ( ( verb == "start" || ( verb == "kill" && event.b % 2 ) ) && !process_ )
      start();
   else if ( verb == "suspend" )
      suspendedUntil_ = simulatedNow + ( event.b % 2 ? 30 : 0.3 );
   else if ( verb == "reload" )
      reload( seed_ + event.b % 3 );
   else if ( verb == "badReload" &&
             Ufdd::parseConfig( config_.toml() + "min_links = 1", "toml" ).errors.empty() )
      complain( "a wrong configuration is taken for right" );
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
   else
      machine_.apply( event );
   if ( event.pause > none ) {
      turn();
      pass( pauses[ event.pause ].seconds );
   }
}

void
World::rest() {
   machine_.endFaults();
   suspendedUntil_ = 0;
   if ( !process_ )
      start();
   pass( restSeconds );
   unsigned int const before = turns_;
   pass( quietSeconds );
   if ( turns_ != before )
      complain( "the daemon does something, though nothing happens" );
   check( Oracle( config_, machine_ ) );
}

void
World::check( Oracle const& oracle ) {
   if ( std::string const what = oracle.complaint(); !what.empty() )
      complain( what );
   auto const& status = process_->agent.status();
   if ( status->groupMembers().count() != config_.groups.size() )
      complain( "groups are not as configured" );
   for ( PlainGroup const& group : config_.groups ) {
      auto const groupStatus = status->group( Zet::Name( group.name ) );
      if ( !groupStatus ||
           ( groupStatus->groupLinkStatus() == UplinkFailureDetection::GroupLinkStatus::down ) !=
               oracle.isDown( group ) )
         complain( group.name + " is not " + ( oracle.isDown( group ) ? "down" : "up" ) );
   }
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
   // What the kernel holds back after another loss, who asks knows all the same.
   machine_.kernel.carrier( "m9", !machine_.kernel.link( "m9" ).cable );
   pass( 0.3 );
   for ( bool const carrier : { false, true } ) {
      Oracle oracle( config_, machine_ );
      Names const before = oracle.downGroups();
      machine_.kernel.carrier( uplink, carrier );
      // A while after each delay. Not of groups that depend on others.
      double passed = 0;
      for ( double const seconds : { 0.25, 1.25, 2.25, 3.25 } )
         if ( config_.asks && !config_.isLayered ) {
            pass( seconds - std::exchange( passed, seconds ) );
            oracle.changed( seconds, before );
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
   if ( !process_->agent.release() )
      complain( "not all ports can be released" );
   kill();
   for ( auto const& [ name, link ] : machine_.kernel.links() )
      if ( link.ours || link.hasProtoDownReason( Ufdd::PortHolder::usualReason ) )
         complain( name + " was not released" );
   if ( !machine_.ownership.holdings.empty() )
      complain( "ports are still remembered: " + machine_.ownership.names() );
}

void
World::conclude() {
   rest();
   restart();
   for ( char const* const uplink : { "u0", "u1", "u2", "x3" } )
      flap( uplink );
   stop();
}

} // namespace Simulation
