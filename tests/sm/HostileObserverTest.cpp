#include "tests/sm/Scenario.h"
#include "tests/support/Failures.h"

#include <algorithm>
#include <string>
#include <vector>

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

// g is up by A and B and holds C and D; h is up by A and holds E.
constexpr std::string_view before =
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
isUp( World const& world, Kelnet::IntfId id ) {
   Interface::EthIntfStatus const* const status = world.dir->intfStatus( id );
   return status && status->operStatus() == Interface::OperStatus::up;
}

// What must hold of a running detector once every group has been checked: nothing but the
// configuration and the links decides. No two groups of this test hold the same interface.
void
expectConsistent( World const& world ) {
   std::string held;
   for ( auto at = world.config->groupIteratorConst(); at; ++at ) {
      char const letter = at->zetName().c_str()[ 0 ];
      unsigned int up = 0;
      for ( auto uplink = at->intfsToMonitorIteratorConst(); uplink; ++uplink )
         up += isUp( world, uplink.key() );
      bool const down = at->minLinks() > up;
      auto const record = world.status->group( at->zetName() );
      ASSERT_TRUE( record ) << letter << " has a record";
      EXPECT_EQ( record->groupLinkStatus(), down ? GroupLinkStatus::down : GroupLinkStatus::up )
          << letter;
      ASSERT_TRUE( world.groupSm( letter ) ) << letter << " has a machine";
      EXPECT_EQ( world.groupSm( letter )->groupConfig(), at.member().get() ) << letter;
      for ( auto port = at->intfsToDisableIteratorConst(); port; ++port )
         if ( down )
            held += port.key().name().view();
   }
   std::string entries;
   for ( auto at = world.cause->intfStatusIteratorConst(); at; ++at )
      entries += at.key().name().view();
   std::sort( held.begin(), held.end() );
   std::sort( entries.begin(), entries.end() );
   EXPECT_EQ( entries, held );
   EXPECT_EQ( world.status->groupMembers().count(), world.config->groupMembers().count() );
   std::size_t machines = 0;
   for ( auto at = world.sm()->uplinkFailureDetectionGroupSmIteratorConst(); at; ++at )
      ++machines;
   EXPECT_EQ( machines, world.config->groupMembers().count() );
}

// Acts once, in the middle of whatever the detector does. False when nothing was heard so often.
bool
play( Trigger const& trigger, std::string_view act, std::size_t when ) {
   World world;
   Tests::CollectedFailures const failures;
   world.apply( before );
   world.apply( trigger.before );
   std::size_t heard = 0;
   world.onHeard = [ & ]( std::string const& ) {
      if ( ++heard == when )
         world.apply( act );
   };
   world.apply( trigger.event );
   bool const acted = heard >= when;
   world.onHeard = nullptr;
   // A group that is put in the place of another while that is being removed.
   for ( std::string const& text : failures.texts )
      EXPECT_NE( text.find( "attribute _groupConfig has a different value of" ), text.npos )
          << text;
   // Every group checks when the directory changes.
   world.apply( "start; appear Y; vanish Y" );
   expectConsistent( world );
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

} // namespace

} // namespace Scenario
