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

} // namespace
