#include "platform/zet/Clock.h"
#include "platform/zet/Exception.h"
#include "platform/zet/Strep.h"
#include "tests/support/Failures.h"
#include "tests/support/Scenario.h"

#include <gmock/gmock.h>

using namespace UplinkFailureDetection;
using testing::ElementsAre;
using testing::IsEmpty;

namespace Scenario {

namespace {

TEST( GroupSm, ReadsTheTimeOncePerDisabling ) {
   World world;
   world.apply( "group g; min g 0; disable g C; disable g D; start" );
   Zet::clockIs( [] {
      static double time = 0;
      return ++time;
   } );
   check( world, { { "min g 1", "D@1 C@1 g:down g#1 g@1", "g:down#1@1 | C@1 D@1" },
                   { "disable g E; disable g F", "E@2 F@3", "g:down#1@1 | C@1 D@1 E@2 F@3" } } );
}

// A host may make a group's machine without a top machine.
TEST( GroupSm, EvaluatesTheGroupWhenItIsMade ) {
   World world;
   world.apply( "appear A; group g; min g 1; monitor g A; disable g C; wait 1" );
   auto const status = GroupStatus::GroupStatusIs( name( 'g' ) );
   auto const sm = Zet::make< UplinkFailureDetectionGroupSm >( world.config->group( name( 'g' ) ),
                                                               status, world.dir, world.cause );
   EXPECT_EQ( status->groupLinkStatus(), GroupLinkStatus::down );
   EXPECT_EQ( status->numTimesDisabled(), 0u ) << "it is no disabling";
   world.apply( "up A" );
   EXPECT_EQ( status->groupLinkStatus(), GroupLinkStatus::up );
}

TEST( GroupSm, RecountsOncePerChangeAndNotForANewChild ) {
   World world;
   world.apply( "appear A; appear B; group g; min g 3; monitor g A; monitor g B; start" );
   auto const group = world.groupSm( 'g' );
   Traced traced;
   for ( char const* const event :
         { "up A", "down A", "up B", "min g 2", "disable g C", "release g C", "count g A",
           "monitor g A", "unmonitor g B", "monitor g B", "appear Z", "vanish Z", "vanish A" } ) {
      world.apply( event );
      EXPECT_EQ( traced.recounts( 'g' ), 1u ) << event;
   }
   for ( char const* const event : { "up B", "min g 2", "monitor g B", "up Z", "start" } ) {
      world.apply( event );
      EXPECT_EQ( traced.recounts( 'g' ), 0u ) << event << " changes nothing";
   }
   world.apply( "stop; appear A" );
   traced.lines();
   auto const child =
       group->uplinkFailureDetectionIntfSmIs( world.dir->intfStatus( intf( 'A' ) ), group.get() );
   EXPECT_TRUE( child->hasNotificationActive() );
   EXPECT_THAT( traced.lines(), IsEmpty() );
}

TEST( GroupSm, AReplacedDirectoryEntryIsANameInUse ) {
   World world;
   world.apply( "appear A; up A; group g; monitor g A; disable g C; start" );
   auto const group = world.groupSm( 'g' );
   Zet::Ptr< Interface::EthIntfStatus > const old = world.dir->intfStatus( intf( 'A' ) );
   Tests::CollectedFailures const failures;
   // The check is not run: the new status is not up.
   check( world, { { "replace A", "", "g:up#0@0 |" } } );
   auto const* const replacement = world.dir->intfStatus( intf( 'A' ) );
   std::string const text = nameInUse( "_ethIntfStatus", Zet::valueToStrep( replacement ),
                                       Zet::valueToStrep( old.get() ) );
   EXPECT_THAT( failures.texts, ElementsAre( "/dir: a handler of intfStatus failed: " + text ) );
   auto const textOf = [ & ]( Interface::EthIntfStatus const* status,
                              UplinkFailureDetectionGroupSm* groupSm ) -> std::string {
      try {
         group->uplinkFailureDetectionIntfSmIs( status, groupSm );
      } catch ( Zet::NameInUseException const& failure ) {
         return failure.what();
      }
      return "nothing thrown";
   };
   EXPECT_EQ( textOf( replacement, group.get() ), text );
   EXPECT_EQ( textOf( replacement, nullptr ), text );
   EXPECT_EQ( textOf( old.get(), nullptr ),
              nameInUse( "_groupSm", "UplinkFailureDetectionGroupSm(0)",
                         Zet::valueToStrep( group.get() ) ) );
   // The child watches the old object still, and the count reads the directory.
   EXPECT_EQ( group->uplinkFailureDetectionIntfSm( intf( 'A' ) )->ethIntfStatus(), old.get() );
   world.heard();
   old->operStatusIs( Interface::OperStatus::down );
   EXPECT_EQ( world.heard(), "C@0 g:down g#1" );
   // Gone and back, it is watched as it should be.
   check( world, { { "vanish A; appear A; up A", "C- g:up", "g:up#1@0 |" } } );
   EXPECT_EQ( world.children( 'g' ), "A" );
   group->doCleanup();
   EXPECT_EQ( world.children( 'g' ), "" );
}

TEST( GroupSm, TracesWhatItDoes ) {
   World world;
   world.apply( "group g; monitor g A; disable g C; start" );
   struct {
      char const* event;
      std::vector< std::string > lines;
   } const expected[] = {
      { "appear A",
        { "handleIntf g::handleIntf A", "handleIntf Creating IntfSm",
          "doCheckIntfs g::doCheckIntfs ",
          "doCheckIntfs numUp is < minLinks ; disabling downstream intfs" } },
      { "up A",
        { "doCheckIntfs g::doCheckIntfs ",
          "doCheckIntfs numUp is >= minLinks ; enabling downstream intfs" } },
      // Also for a child that exists already.
      { "disable g A",
        { "handleIntf g::handleIntf A", "handleIntf Creating IntfSm",
          "doCheckIntfs g::doCheckIntfs ",
          "doCheckIntfs numUp is >= minLinks ; enabling downstream intfs" } },
      { "vanish A",
        { "handleIntf g::handleIntf A", "handleIntf Intf removed, deleting IntfSm",
          "doCheckIntfs g::doCheckIntfs ",
          "doCheckIntfs numUp is < minLinks ; disabling downstream intfs" } },
      { "ungroup g", { "handleGroup handleGroup( g )", "doCleanup g::doCleanup()" } },
      { "group h",
        { "handleGroup handleGroup( h )", "doCheckIntfs h::doCheckIntfs ",
          "doCheckIntfs numUp is < minLinks ; disabling downstream intfs" } },
   };
   Traced traced;
   for ( auto const& [ event, lines ] : expected ) {
      world.apply( event );
      EXPECT_EQ( traced.lines(), lines ) << event;
   }
}

} // namespace

} // namespace Scenario
