#include "agent/config/ConfigFile.h"

#include "agent/base/InterfaceName.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Ufdd {
namespace {

using Errors = std::vector< std::string >;

TEST( ConfigFile, readsEveryKey ) {
   ConfigFile const config = parseConfig( R"(detection = "poll"
detection_interval = 10
protodown_reason = 31
startup_hold = 30
[[group]]
name = "rack 2"
monitor = [ "eth1", "eth2" ]
intfs_to_disable = [ "swp1" ]
min_links = 2
recovery_delay = 2.5
down_delay = 1
dry_run = true
[[group]]
name = "rack 1"
monitor = []
disable = [ "a-name-of-15byt" ]
)",
                                          "f" );
   ASSERT_EQ( config.errors, Errors() );
   ASSERT_EQ( config.groups.size(), 2u );
   auto const& group = *config.groups[ 0 ].config;
   EXPECT_EQ( config.groups[ 0 ].name(), "rack 2" );
   EXPECT_EQ( group.intfsToMonitorMembers().count(), 2u );
   EXPECT_TRUE( group.intfsToMonitor( Kelnet::IntfId( "eth1" ) ) );
   EXPECT_TRUE( group.intfsToMonitor( Kelnet::IntfId( "eth2" ) ) );
   EXPECT_TRUE( group.intfsToDisable( Kelnet::IntfId( "swp1" ) ) );
   EXPECT_EQ( group.minLinks(), 2u );
   EXPECT_EQ( config.groups[ 0 ].policy, ( GroupPolicy{ 2.5, 1, true } ) );
   EXPECT_EQ( config.groups[ 1 ].config->minLinks(), 1u );
   EXPECT_EQ( config.groups[ 1 ].policy, GroupPolicy() );
   EXPECT_EQ( config.detection.mode, DetectionSettings::Mode::poll );
   EXPECT_EQ( config.detection.intervalMs, 10u );
   EXPECT_EQ( config.protoDownReason, 31u );
   EXPECT_EQ( config.startupHold, 30 );
   EXPECT_TRUE( parseConfig( "dry_run = true\n[[group]]\nname = \"a\"\nmonitor = [ \"u\" ]\n"
                             "disable = []\n",
                             "f" )
                    .groups.at( 0 )
                    .policy.dryRun );
   ConfigFile const nothing = parseConfig( "", "f" );
   EXPECT_TRUE( nothing.errors.empty() );
   EXPECT_EQ( nothing.warnings,
              Errors{ "f:1:1: warning: there is no [[group]]: ufdd watches nothing" } );
   EXPECT_EQ( nothing.detection.mode, DetectionSettings::Mode::verify );
}

TEST( ConfigFile, reportsEveryErrorWithItsPlace ) {
   ConfigFile const config = parseConfig( R"(extra = 1
detection = "never"
detection_interval = 0
startup_hold = -0.5
dry_run = 1
[[group]]
nam = "a"
monitor = "eth1"
disable = [ "d1", "d1", 3, "a/b", "" ]
min_links = -1
[[group]]
name = "b"
monitor = [ "eth1" ]
disable = [ "eth1" ]
min_links = 4_294_967_296
recovery_delay = "1s"
down_delay = nan
[[group]]
name = "b"
disable = []
links = 1.5
min_links = 1.5
down_delay = 9007199254740993
[[group]]
name = ""
monitor = []
disable = []
)",
                                          "f.toml" );
   EXPECT_EQ(
       config.errors,
       ( Errors{
           R"(f.toml:1:1: unknown key "extra" in the file; expected group, detection, detection_interval, protodown_reason, startup_hold, dry_run)",
           R"(f.toml:2:13: expected detection to be "events", "verify" or "poll", not "never")",
           R"(f.toml:3:22: expected detection_interval to be a whole number of milliseconds from 1 to 1000, not 0)",
           R"(f.toml:4:16: expected startup_hold to be a number of seconds from 0 to 86400, not -0.5)",
           R"(f.toml:5:11: expected dry_run to be true or false, not 1)",
           R"(f.toml:6:1: this group has no name; expected name = "...")",
           R"(f.toml:7:1: unknown key "nam" in a group; did you mean "name"?)",
           R"(f.toml:8:11: expected a list of interface names, monitor = [ "...", ... ], not a text)",
           R"(f.toml:9:19: "d1" is in this list already)",
           R"(f.toml:9:25: expected the name of an interface as a text in quotes, not a number)",
           R"(f.toml:9:28: "a/b" is not the name of an interface: it has a slash, a colon or white space in it)",
           R"(f.toml:9:35: "" is not the name of an interface: it is empty)",
           R"(f.toml:10:13: expected min_links to be a whole number from 0 to 4294967295, not -1)",
           R"(f.toml:14:13: "eth1" is monitored and disabled by this group; remove it from one of the two lists)",
           R"(f.toml:15:13: expected min_links to be a whole number from 0 to 4294967295, not 4294967296)",
           R"(f.toml:16:18: expected recovery_delay to be a number of seconds from 0 to 86400, not "1s")",
           R"(f.toml:17:14: expected down_delay to be a number of seconds from 0 to 86400, not nan)",
           R"(f.toml:18:1: this group has no list of interfaces to monitor; expected monitor = [ "...", ... ])",
           R"(f.toml:19:8: there is a group "b" on line 12 already; each group needs a name of its own)",
           R"(f.toml:21:1: unknown key "links" in a group; expected name, monitor, disable, min_links, recovery_delay, down_delay, dry_run)",
           R"(f.toml:22:13: expected min_links to be a whole number from 0 to 4294967295, not 1.5)",
           R"(f.toml:23:14: expected down_delay to be a number of seconds from 0 to 86400, not 9007199254740993)",
           R"(f.toml:25:8: the name of a group can't be empty)",
       } ) );
}

TEST( ConfigFile, reportsGroupsThatCannotWorkAsConfigured ) {
   SystemView system{ { { "bond0", { "bond0", "p1", "p2" } },
                        { "p1", { "p1" } },
                        { "p2", { "p2" } },
                        { "u1", { "u1" } },
                        { "u1-alias", { "u1" } },
                        { "d9-alias", { "d9" } } },
                      {},
                      { "d9", "p2" } };
   system.runsOn = { { "v3", { "d3" } } };
   for ( std::string const name : { "d0", "d1", "d2", "d3", "u9", "v3" } )
      system.interfaces[ name ] = { name };
   ConfigFile const config = parseConfig( R"([[group]]
name = "a"
monitor = [ "u1", "bond0" ]
disable = [ "d1", "p1" ]
[[group]]
name = "b"
monitor = [ "d1", "d0" ]
disable = [ "d2" ]
min_links = 3
[[group]]
name = "c"
monitor = [ "d2" ]
disable = [ "u1", "d9-alias" ]
[[group]]
name = "end"
monitor = []
disable = [ "u9" ]
[[group]]
name = "off"
monitor = []
disable = []
min_links = 0
[[group]]
name = "twice"
monitor = [ "u1", "u1-alias" ]
disable = [ "d3" ]
[[group]]
name = "lag"
monitor = [ "x" ]
disable = [ "bond0" ]
[[group]]
name = "member"
monitor = [ "p2" ]
disable = [ "x" ]
[[group]]
name = "vlan"
monitor = [ "v3", "u9" ]
disable = [ "d3" ]
min_links = 0
)",
                                          "f", &system );
   EXPECT_EQ(
       config.errors,
       ( Errors{
           R"(f:4:13: group "a" disables "d1", which group "b" monitors; group "b" disables "d2", which group "c" monitors; group "c" disables "u1", which group "a" monitors; once down, they would keep each other down; break the circle)",
           R"(f:4:19: "p1" is a member of "bond0", which is in this group as well; list either the LAG or its members)",
           R"(f:25:19: "u1-alias" is another name of "u1", which is in this group as well; list it once)",
           R"(f:30:13: group "lag" disables "bond0", which group "member" monitors as "p2"; group "member" disables "x", which group "lag" monitors; once down, they would keep each other down; break the circle)",
       } ) );
   EXPECT_EQ(
       config.warnings,
       ( Errors{
           R"(f:5:1: warning: group "b" monitors 2 interfaces, fewer than its min_links, 3: its ports are always shut)",
           R"(f:13:19: warning: "d9-alias" carries this machine's default route, which is lost while the port is shut)",
           R"(f:14:1: warning: group "end" monitors no interface: its ports are always shut)",
           R"(f:18:1: warning: group "off" monitors no interface: its ports are never shut)",
           R"(f:18:1: warning: group "off" disables no port: only its status is reported)",
           R"(f:29:13: note: there is no interface "x" yet)",
           R"(f:30:13: warning: "bond0" carries this machine's default route, which is lost while the port is shut)",
           R"(f:35:1: warning: group "vlan" has a min_links of 0: its ports are never shut)",
           R"(f:38:13: warning: the uplink "v3" runs on "d3", which this group disables: once down, it may stay down)",
       } ) );
}

TEST( ConfigFile, reportsFilesThatCannotBeRead ) {
   auto const firstError = []( std::string_view text ) {
      Errors const errors = parseConfig( text, "f" ).errors;
      return errors.empty() ? "none" : errors[ 0 ];
   };
   EXPECT_EQ( firstError( "[group]\nname = \"a\"\n" ),
              "f:1:1: expected groups that begin with [[group]], not a table" );
   EXPECT_EQ( firstError( "[[group]]\nname = \"a\nmonitor = []\n" ).substr( 0, 7 ), "f:2:10:" );
   auto const named = []( std::size_t size ) {
      return "[[group]]\nname = \"" + std::string( size, 'n' ) + "\"\nmonitor = []\ndisable = []\n";
   };
   EXPECT_EQ( firstError( named( 1024 ) ), "none" );
   EXPECT_EQ( firstError( named( 1025 ) ),
              "f:2:8: the name of a group has at most 1024 bytes, not 1025" );
   EXPECT_EQ( readConfig( "/no/such/file" ).errors,
              Errors{ "/no/such/file: can't be read: No such file or directory" } );
   EXPECT_EQ( readConfig( "/tmp" ).errors, Errors{ "/tmp: can't be read: Is a directory" } );
}

} // namespace
} // namespace Ufdd
