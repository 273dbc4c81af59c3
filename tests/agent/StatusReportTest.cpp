#include "agent/ctl/StatusReport.h"

#include "agent/ctl/Watcher.h"
#include "tests/support/Observer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <sstream>
#include <string>

namespace Ufdd {
namespace {

using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::Status;

class StatusReportTest : public testing::Test {
 protected:
   StatusReportTest() {
      setenv( "TZ", "UTC-2", 1 );
      tzset();
      group( "b", GroupLinkStatus::up );
      group( "rack1", GroupLinkStatus::down, 3, 99988 );
      group( "long name", GroupLinkStatus::unknown );
   }
   void group( char const* name, GroupLinkStatus link, unsigned int times = 0, double last = 0 ) {
      auto const group = status->groupIs( name );
      group->groupLinkStatusIs( link );
      group->numTimesDisabledIs( times );
      group->prevDisabledTimeIs( last );
   }
   // Returns how the table says "so many seconds ago".
   std::string agoOf( double seconds ) {
      group( "rack1", GroupLinkStatus::down, 1, now.steady - seconds );
      std::string const table = statusTable( *status, "rack1", now, Colours::none );
      return table.substr( table.rfind( ", " ) + 2 );
   }

   Zet::Ptr< Status > const status = Zet::make< Status >( "status" );
   // 2026-03-01 10:30:00 in UTC.
   Moment const now{ .steady = 100000, .wall = 1772361000.5 };
};

TEST_F( StatusReportTest, showsATable ) {
   EXPECT_EQ( statusTable( *status, "", now, Colours::none ),
              "GROUP      STATUS   TIMES DISABLED  LAST DISABLED\n"
              "b          up       0               never\n"
              "long name  unknown  0               never\n"
              "rack1      down     3               2026-03-01 12:29:48.500, 12 s ago\n" );
   EXPECT_EQ( statusTable( *status, "b", now, Colours::terminal ),
              "GROUP  STATUS  TIMES DISABLED  LAST DISABLED\n"
              "b      \x1b[32mup\x1b[0m      0               never\n" );
   EXPECT_EQ( agoOf( 59.9 ) + agoOf( 60 ) + agoOf( 7500 ) + agoOf( 90000 ) + agoOf( -1 ),
              "59 s ago\n1 min ago\n2 h 5 min ago\n1 d 1 h ago\n0 s ago\n" );
   EXPECT_EQ( statusTable( *Zet::make< Status >( "empty" ), "", now, Colours::none ),
              "ufdd watches no groups: its configuration has none\n" );
}

TEST_F( StatusReportTest, showsJson ) {
   EXPECT_EQ( statusJson( *status, "rack1", now ), R"({
  "groups": [
    {
      "group": "rack1",
      "linkStatus": "down",
      "timesDisabled": 3,
      "lastDisabled": "2026-03-01T10:29:48.500Z",
      "secondsSince": 12.0
    }
  ]
}
)" );
   EXPECT_NE( statusJson( *status, "b", now ).find( R"("lastDisabled": null)" ),
              std::string::npos );
}

TEST_F( StatusReportTest, watchesTransitions ) {
   auto const play = [ this ]( std::string const& wanted, Watcher::Style style ) {
      std::ostringstream out;
      Watcher watcher( status, wanted, out, style, [] { return 1772361000.5; } );
      group( "b", GroupLinkStatus::up );
      group( "rack1", GroupLinkStatus::up );
      watcher.showStates();
      group( "b", GroupLinkStatus::down, 1, 1000 );
      group( "rack1", GroupLinkStatus::down );
      watcher.handleLoss( "/s" );
      watcher.handleResync( "/s" );
      group( "b", GroupLinkStatus::up );
      group( "added", GroupLinkStatus::up );
      status->groupDel( "added" );
      return out.str();
   };
   status->groupDel( "long name" );
   EXPECT_EQ( play( "", {} ),
              "2026-03-01 12:30:00.500  b      is up\n"
              "2026-03-01 12:30:00.500  rack1  is up\n"
              "2026-03-01 12:30:00.500  b      up -> down\n"
              "2026-03-01 12:30:00.500  rack1  up -> down\n"
              "2026-03-01 12:30:00.500  lost ufdd at /s; waiting for it to come back\n"
              "2026-03-01 12:30:00.500  ufdd at /s is back; what has changed meanwhile follows\n"
              "2026-03-01 12:30:00.500  b      down -> up\n"
              "2026-03-01 12:30:00.500  added  unknown -> up\n"
              "2026-03-01 12:30:00.500  added  removed\n" );
   EXPECT_EQ( play( "b", { .asJson = true } ),
              R"({"time":"2026-03-01T10:30:00.500Z","event":"state","group":"b","to":"up"}
{"time":"2026-03-01T10:30:00.500Z","event":"transition","group":"b","from":"up","to":"down"}
{"time":"2026-03-01T10:30:00.500Z","event":"lost","socket":"/s"}
{"time":"2026-03-01T10:30:00.500Z","event":"resync","socket":"/s"}
{"time":"2026-03-01T10:30:00.500Z","event":"transition","group":"b","from":"down","to":"up"}
)" );
   EXPECT_NE( play( "b", { .colours = Colours::terminal } )
                  .find( "b  \x1b[32mup\x1b[0m -> \x1b[31mdown\x1b[0m\n" ),
              std::string::npos );
}

} // namespace
} // namespace Ufdd
