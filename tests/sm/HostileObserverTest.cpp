#include "tests/support/Failures.h"
#include "tests/support/RandomSequences.h"
#include "tests/support/Scenario.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

// g is up by A and B and holds C and D; h is up by A and holds E.
constexpr std::string_view beforeAll =
    "appear A; up A; appear B; up B; group g; min g 2; monitor g A; monitor g B; disable g C; "
    "disable g D; group h; monitor h A; disable h E";

// Each event makes the detector write while the observer listens.
struct Trigger {
   std::string_view before;
   std::string_view event;
};

constexpr Trigger triggers[] = {
   { "", "start" },
   { "min g 3", "start" },
   { "start", "down A" },
   { "start", "vanish A" },
   { "start", "min g 3" },
   { "start; down A", "up A" },
   { "start; down A", "ungroup g" },
   { "start; down A", "appear C" },
   { "start; down A", "disable g F" },
   { "start; min g 3", "swap" },
   { "start; ungroup g", "group g" },
};

// What an observer may do from inside of a notification.
constexpr std::string_view acts[] = {
   "ungroup g",     "ungroup g; group g",
   "ungroup h",     "stop",
   "swap",          "start",
   "min g 0",       "min g 9",
   "vanish A",      "vanish B",
   "appear Z",      "down B",
   "release g C",   "release g D",
   "up A",          "disable g F",
   "unmonitor g A", "stop; start",
   "group k",       "replace Z",
};

bool
isDown( World const& world, GroupConfig const& group ) {
   unsigned int up = 0;
   for ( auto at = group.intfsToMonitorIteratorConst(); at; ++at ) {
      Interface::EthIntfStatus const* const status = world.dir->intfStatus( at.key() );
      up += status && status->operStatus() == Interface::OperStatus::up;
   }
   return group.minLinks() > up;
}

// The interfaces with an entry, and those that the groups configure, or the down ones alone.
std::string
entries( World const& world ) {
   std::string result;
   for ( auto at = world.cause->intfStatusIteratorConst(); at; ++at )
      result += at.key().name().view();
   std::sort( result.begin(), result.end() );
   return result;
}
std::string
ports( World const& world, bool ofDownGroups ) {
   std::string result;
   for ( auto group = world.config->groupIteratorConst(); group; ++group )
      if ( !ofDownGroups || isDown( world, *group ) )
         for ( auto at = group->intfsToDisableIteratorConst(); at; ++at )
            result += at.key().name().view();
   std::sort( result.begin(), result.end() );
   return result;
}

// What must hold of a running detector after each event. No two groups of this test have a port in
// common.
std::string
complaintAbout( World const& world ) {
   Status const& status = *world.sm()->status();
   for ( auto at = world.config->groupIteratorConst(); at; ++at ) {
      char const letter = at->zetName().c_str()[ 0 ];
      auto const machine = world.groupSm( letter );
      auto const record = status.group( at->zetName() );
      if ( !machine || machine->ended() || machine->groupConfig() != at.member().get() || !record ||
           machine->groupStatus() != record.get() )
         return std::string( "not the right machine and record for " ) + letter;
   }
   // Another Status may have more records: those that are old.
   if ( world.sm()->uplinkFailureDetectionGroupSmMembers().count() !=
        world.config->groupMembers().count() )
      return "more machines than groups";
   std::string const is = entries( world );
   std::string const all = ports( world, false );
   if ( !std::includes( all.begin(), all.end(), is.begin(), is.end() ) )
      return "disabled for no group: " + is + ", configured: " + all;
   return "";
}

// The same, and, once every group has been checked: nothing but the configuration and the links
// decides.
std::string
complaintAboutChecked( World& world, std::vector< std::string > const& failures ) {
   for ( std::string const& failure : failures )
      // A group that replaces another while that is being removed.
      if ( failure.find( "attribute _groupConfig has a different value of" ) == failure.npos )
         return failure;
   // Every group checks when the directory changes.
   world.apply( "start; appear Y; vanish Y" );
   for ( auto at = world.config->groupIteratorConst(); at; ++at ) {
      auto const record = world.status->group( at->zetName() );
      if ( record &&
           ( record->groupLinkStatus() == GroupLinkStatus::down ) != isDown( world, *at ) )
         return std::string( "wrong record: " ) + world.state();
   }
   std::string const is = entries( world );
   std::string const expected = ports( world, true );
   return is == expected ? complaintAbout( world ) : "disabled: " + is + ", expected: " + expected;
}

// Acts once, in the middle of whatever the detector does. False when nothing was heard so often.
bool
play( Trigger const& trigger, std::string_view act, std::size_t when ) {
   World world;
   Tests::CollectedFailures const failures;
   world.apply( beforeAll );
   world.apply( trigger.before );
   std::size_t heard = 0;
   world.onHeard = [ & ]( std::string const& ) {
      if ( ++heard == when )
         world.apply( act );
   };
   world.apply( trigger.event );
   bool const acted = heard >= when;
   world.onHeard = nullptr;
   EXPECT_EQ( complaintAboutChecked( world, failures.texts ), "" );
   EXPECT_EQ( world.status->groupMembers().count(), world.config->groupMembers().count() );
   return acted;
}

TEST( HostileObserver, ActingInsideOfANotificationLeavesAConsistentDetector ) {
   for ( Trigger const& trigger : triggers )
      for ( std::string_view const act : acts )
         for ( std::size_t when = 1; when < 40; ++when ) {
            SCOPED_TRACE( std::string( trigger.before ) + "; " + std::string( trigger.event ) +
                          " with " + std::string( act ) + " at notification " +
                          std::to_string( when ) );
            if ( !play( trigger, act, when ) || HasFailure() )
               break;
         }
}

// Started twice, the group would open its port for a moment.
TEST( HostileObserver, AGroupThatComesBackInsideOfItsRemovalIsStartedOnce ) {
   World world;
   Tests::CollectedFailures const failures;
   world.apply( beforeAll );
   world.apply( "start; down A" );
   world.heard();
   world.onHeard = [ & ]( std::string const& ) {
      auto const onlyOnce = std::exchange( world.onHeard, nullptr );
      world.apply( "group g; ungroup g; group g; min g 2; monitor g A; monitor g B; disable g C" );
   };
   world.apply( "ungroup g" );
   EXPECT_EQ( world.heard(), "D- C- g- g+ C@0 g:down" );
}

// An event from outside, or from inside of the notification of that number from now on.
struct Step {
   unsigned int when;
   Event event;
};

std::string
text( std::vector< Step > const& steps ) {
   std::string result;
   for ( Step const& step : steps ) {
      result += step.when ? "(at " + std::to_string( step.when ) + ") " : "";
      result += text( std::vector{ step.event } ) + "; ";
   }
   return result;
}

std::vector< Step >
randomSteps( std::uint64_t seed ) {
   static constexpr Verb verbs[] = {
      Verb::group,   Verb::group,   Verb::ungroup,   Verb::ungroup, Verb::monitor, Verb::monitor,
      Verb::monitor, Verb::count,   Verb::unmonitor, Verb::disable, Verb::disable, Verb::disable,
      Verb::disable, Verb::release, Verb::min,       Verb::min,     Verb::min,     Verb::appear,
      Verb::appear,  Verb::vanish,  Verb::up,        Verb::up,      Verb::up,      Verb::down,
      Verb::down,    Verb::swap,    Verb::swap,
   };
   static constexpr std::string_view portsOf[] = { "CDF", "EGH", "IJK" };
   std::mt19937_64 random( seed );
   auto const below = [ & ]( std::uint64_t bound ) { return random() % bound; };
   std::vector< Step > steps( 30 );
   for ( auto& [ when, event ] : steps ) {
      std::size_t const group = below( 3 );
      event = { verbs[ below( std::size( verbs ) ) ], "ghk"[ group ], "ABZ"[ below( 3 ) ],
                static_cast< unsigned int >( below( 4 ) ) };
      // No port is an uplink: one that is released stays disabled.
      if ( event.verb == Verb::disable || event.verb == Verb::release ||
           ( event.verb == Verb::appear && below( 8 ) == 0 ) )
         event.intf = portsOf[ group ][ below( 3 ) ];
      when = below( 2 ) == 0 ? 0 : static_cast< unsigned int >( 1 + below( 6 ) );
      // An uplink that comes back from inside of its removal is a name in use.
      if ( when != 0 && event.verb == Verb::appear )
         event.intf = 'Y';
   }
   return steps;
}

std::string
complaintAbout( std::vector< Step > const& steps ) {
   World world;
   Tests::CollectedFailures const failures;
   world.apply( beforeAll );
   world.apply( "start" );
   bool replacing = false;
   auto const play = [ & ]( Event const& event ) {
      bool const outer = replacing;
      replacing = outer || event.verb == Verb::swap;
      // Of two machines, one hears later of what has changed: it refuses a group that is added from
      // inside of its removal, and if it is replaced before it hears, nobody undoes what it wrote.
      if ( !outer || ( event.verb != Verb::group && event.verb != Verb::swap ) )
         world.apply( event );
      replacing = outer;
   };
   std::vector< Step > waiting;
   world.onHeard = [ & ]( std::string const& ) {
      std::vector< Event > due;
      for ( Step& step : waiting )
         if ( --step.when == 0 )
            due.push_back( step.event );
      std::erase_if( waiting, []( Step const& step ) { return step.when == 0; } );
      for ( Event const& event : due )
         play( event );
   };
   for ( Step const& step : steps ) {
      if ( step.when != 0 )
         waiting.push_back( step );
      else
         play( step.event );
      std::string const complaint = complaintAbout( world );
      if ( !complaint.empty() )
         return complaint;
   }
   world.onHeard = nullptr;
   return complaintAboutChecked( world, failures.texts );
}

TEST( HostileObserver, RandomActsInsideOfNotificationsLeaveAConsistentDetector ) {
   Tests::SequenceTest< Step >{ randomSteps, complaintAbout, text }.playMany( 5000 );
}

} // namespace

} // namespace Scenario
