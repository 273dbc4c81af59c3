#include "model/GroupStatus.h"

#include "tests/support/Entities.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Tests;

namespace {

using Ufd::GroupLinkStatus;

class GroupStatus : public testing::Test {
 protected:
   Log log;
   Zet::Ptr< Ufd::GroupStatus > group = Ufd::GroupStatus::GroupStatusIs( "g" );
   Zet::Ptr< Actor< Ufd::GroupStatus > > observer = observe< Actor >( group, log, "n" );
};

TEST_F( GroupStatus, storesAChangeBeforeItTells ) {
   observer->act = [ & ] {
      std::ostringstream seen;
      seen << log.back() << ": " << group->groupLinkStatus() << ' ' << group->numTimesDisabled()
           << ' ' << group->prevDisabledTime();
      log.back() = seen.str();
   };
   // As it starts.
   group->groupLinkStatusIs( GroupLinkStatus::unknown );
   group->numTimesDisabledIs( 0 );
   group->prevDisabledTimeIs( -0.0 );
   EXPECT_EQ( log, Log{} );
   group->groupLinkStatusIs( GroupLinkStatus::down );
   group->groupLinkStatusIs( GroupLinkStatus{ 7 } );
   EXPECT_EQ( group->numTimesDisabledInc( 1 ), 1u );
   group->prevDisabledTimeIs( 2.5 );
   group->prevDisabledTimeIs( 2.5 );
   group->prevDisabledTimeIs( std::nan( "" ) );
   group->prevDisabledTimeIs( std::nan( "" ) );
   EXPECT_EQ( log,
              ( Log{ "n 258: down 0 0", "n 258: GroupLinkStatus(7) 0 0",
                     "n 259: GroupLinkStatus(7) 1 0", "n 260: GroupLinkStatus(7) 1 2.5",
                     "n 260: GroupLinkStatus(7) 1 nan", "n 260: GroupLinkStatus(7) 1 nan" } ) );
}

TEST_F( GroupStatus, countsModuloTwoToThe32 ) {
   group->numTimesDisabledIs( 4294967295u );
   EXPECT_EQ( group->numTimesDisabledInc( 0 ), 4294967295u );
   EXPECT_EQ( log.size(), 1u );
   // The sum that was stored is returned, whatever a handler makes of it.
   observer->act = [ this ] { group->numTimesDisabledIs( 9 ); };
   EXPECT_EQ( group->numTimesDisabledInc( 2 ), 1u );
   EXPECT_EQ( group->numTimesDisabled(), 9u );
   EXPECT_EQ( log, Log( 3, "n 259" ) );
}

} // namespace
