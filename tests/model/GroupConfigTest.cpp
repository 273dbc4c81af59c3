#include "model/GroupConfig.h"

#include "tests/support/Entities.h"

#include <gtest/gtest.h>

using namespace Tests;

namespace {

class GroupConfig : public testing::Test {
 protected:
   // What was heard since the last time.
   Log heard() { return std::exchange( log, {} ); }

   Log log;
   Zet::Ptr< Ufd::GroupConfig > group = Ufd::GroupConfig::GroupConfigIs( "g" );
   Zet::Ptr< Actor< Ufd::GroupConfig > > observer = observe< Actor >( group, log, "n" );
   Kelnet::IntfId const et1 = intf( "et1" );
};

// Both collections behave alike and apart.
TEST_F( GroupConfig, tellsOfEachChangeOfAnEntryOnceItIsStored ) {
   Log seen;
   observer->act = [ & ] {
      seen.push_back( std::string( group->intfsToMonitorMembers().find( et1 ) ? "M" : "-" ) +
                      ( group->intfsToMonitor( et1 ) ? "+" : "-" ) +
                      ( group->intfsToDisableMembers().find( et1 ) ? "D" : "-" ) +
                      ( group->intfsToDisable( et1 ) ? "+" : "-" ) );
   };
   group->intfsToMonitorIs( et1, true );
   group->intfsToMonitorIs( et1, true );
   group->intfsToMonitorIs( et1, false );
   EXPECT_EQ( heard(), Log( 2, "n 258 et1" ) );
   group->intfsToDisableIs( et1, false );
   group->intfsToDisableIs( et1, false );
   group->intfsToDisableIs( et1, true );
   EXPECT_EQ( heard(), Log( 2, "n 259 et1" ) );
   EXPECT_FALSE( group->intfsToMonitorDel( intf( "et2" ) ) );
   EXPECT_FALSE( group->intfsToMonitorDel( et1 ) );
   EXPECT_TRUE( group->intfsToDisableDel( et1 ) );
   EXPECT_FALSE( group->intfsToDisableDel( et1 ) );
   EXPECT_EQ( heard(), ( Log{ "n 258 et1", "n 259 et1" } ) );
   EXPECT_EQ( seen, ( Log{ "M+--", "M---", "M-D-", "M-D+", "--D+", "----" } ) );
   // Bare insertion tells nobody.
   EXPECT_TRUE( group->newIntfsToDisable( et1, true )->value() );
   EXPECT_FALSE( group->newIntfsToMonitor( et1, false )->value() );
   EXPECT_TRUE( group->intfsToDisable( et1 ) );
   EXPECT_EQ( group->intfsToMonitorIterator( et1 ).key(), et1 );
   EXPECT_EQ( group->intfsToDisableIterator( et1 ).key(), et1 );
   EXPECT_EQ( heard(), Log{} );
   group->intfsToDisableDelAll();
   EXPECT_EQ( heard(), Log{ "n 259 et1" } );
   EXPECT_TRUE( group->intfsToDisableMembers().empty() && group->intfsToMonitorMembers().count() );
}

TEST_F( GroupConfig, dropsItsEntriesSilently ) {
   group->intfsToMonitorIs( et1, true );
   auto const entry = group->intfsToMonitorIterator().member();
   heard();
   // In the list to the end, and never destroyed, for it could not let go of the group any more.
   static auto* const immortal = observer.get();
   immortal->zetHasUncountedNotifierIs( true );
   immortal->isNondestructingIs( true );
   group = nullptr;
   EXPECT_EQ( entry->references(), 1u );
   EXPECT_EQ( heard(), Log{ "n 5" } );
}

} // namespace
