#include "agent/config/ConfigFile.h"

#include "tests/agent/Directory.h"
#include "tests/agent/TextMatchers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace Ufdd {
namespace {

using Errors = std::vector< std::string >;

Link
linkOf( std::uint32_t index, std::string_view name, std::uint32_t master = 0 ) {
   return { .index = index, .name = InterfaceName( name ), .master = master };
}

Route
defaultRouteBy( std::initializer_list< std::uint32_t > links ) {
   Route route;
   route.isInMain = route.isUnicast = true;
   for ( std::uint32_t const link : links )
      route.hops.push_back( { .link = link } );
   return route;
}

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
recovery_delay_max = 90
down_delay = 1
dry_run = true
[[group]]
name = "rack 1"
monitor = [ "eth3" ]
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
   EXPECT_EQ( config.groups[ 0 ].policy, ( GroupPolicy{ 2.5, 90, 1, true } ) );
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
}

TEST( ConfigFile, hasTheDefaultsOfTheManualPage ) {
   std::ifstream page( UFDD_TOML_PAGE );
   std::string const group = "[[group]]\nname = \"a\"\nmonitor = [ \"u\" ]\ndisable = []\n";
   std::string const check = "[[check]]\nname = \"c\"\nuplinks = [ \"u\" ]\nkind = \"command\"\n"
                             "command = [ \"/c\" ]\n";
   std::string told;
   for ( std::string line; std::getline( page, line ); )
      if ( line == "# KEYS OF A GROUP" )
         told += group;
      else if ( line.starts_with( "Default: " ) && !line.starts_with( "Default: none" ) )
         told += line.substr( 9, line.find( "++" ) - 9 ) + '\n';
      else if ( line == "# KEYS OF A CHECK" )
         told += check;
   ConfigFile const manual = parseConfig( told, "f" );
   ConfigFile const actual = parseConfig( group + check, "f" );
   ASSERT_EQ( manual.errors, Errors() ) << told;
   ASSERT_EQ( manual.groups.size(), 1u );
   EXPECT_EQ( manual.groups[ 0 ].policy, actual.groups[ 0 ].policy );
   EXPECT_EQ( manual.groups[ 0 ].config->minLinks(), actual.groups[ 0 ].config->minLinks() );
   EXPECT_EQ( manual.detection, actual.detection );
   EXPECT_EQ( manual.protoDownReason, actual.protoDownReason );
   EXPECT_EQ( manual.startupHold, actual.startupHold );
   EXPECT_EQ( manual.massFailureDelay, actual.massFailureDelay );
   auto const valuesOf = []( ConfigFile const& config ) {
      CheckSettings const& c = config.checks.at( 0 );
      return std::tuple( c.rise, c.fall, c.startsUp, c.onUnknown, c.interval, c.timeout );
   };
   EXPECT_EQ( valuesOf( manual ), valuesOf( actual ) );
   EXPECT_EQ( manual.protect, actual.protect );
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
disable = [ "d1", "d1", 3, "a b", "" ]
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
           R"(f.toml:1:1: unknown key "extra" in the file; expected group, detection, detection_interval, detection_idle_interval, protodown_reason, startup_hold, dry_run, protect, check, mass_failure_delay)",
           R"(f.toml:2:13: expected detection to be "auto", "verify", "poll" or "events", not "never")",
           R"(f.toml:3:22: expected detection_interval to be a whole number of milliseconds from 1 to 1000, not 0)",
           R"(f.toml:4:16: expected startup_hold to be a number of seconds from 0 to 86400, not -0.5)",
           R"(f.toml:5:11: expected dry_run to be true or false, not 1)",
           R"(f.toml:6:1: this group has no name; expected name = "...")",
           R"(f.toml:7:1: unknown key "nam" in a group; did you mean "name"?)",
           R"(f.toml:8:11: expected a list of interface names, monitor = [ "...", ... ], not a text)",
           R"(f.toml:9:19: "d1" is in this list already)",
           R"(f.toml:9:25: expected the name of an interface as a text in quotes, not a number)",
           R"(f.toml:9:28: "a b" is not the name of an interface: it has a slash, a colon or white space in it)",
           R"(f.toml:9:35: "" is not the name of an interface: it is empty)",
           R"(f.toml:10:13: expected min_links to be a whole number from 0 to 4294967295, not -1)",
           R"(f.toml:14:13: "eth1" is monitored and disabled by this group; remove it from one of the two lists)",
           R"(f.toml:15:13: expected min_links to be a whole number from 0 to 4294967295, not 4294967296)",
           R"(f.toml:16:18: expected recovery_delay to be a number of seconds from 0 to 86400, not "1s")",
           R"(f.toml:17:14: expected down_delay to be a number of seconds from 0 to 86400, not nan)",
           R"(f.toml:18:1: this group has no list of interfaces to monitor; expected monitor = [ "...", ... ])",
           R"(f.toml:19:8: there is a group "b" on line 12 already; each group needs a name of its own)",
           R"(f.toml:21:1: unknown key "links" in a group; expected name, monitor, disable, min_links, min_percent, recover_links, recover_percent, recovery_delay, recovery_delay_max, down_delay, dry_run, enabled, force_down, auto_recover, allow_default_route, release_when, release_timeout)",
           R"(f.toml:22:13: expected min_links to be a whole number from 0 to 4294967295, not 1.5)",
           R"(f.toml:23:14: expected down_delay to be a number of seconds from 0 to 86400, not 9007199254740993)",
           R"(f.toml:25:8: the name of a group can't be empty)",
       } ) );
}

TEST( ConfigFile, reportsEveryErrorOfAChecksKeys ) {
   ConfigFile const config = parseConfig( R"(mass_failure_delay = -1
[[group]]
name = "g"
monitor = [ "uplink1" ]
disable = [ "d" ]
[[check]]
name = "a b"
uplinks = [ "uplink2" ]
kind = "reported"
interval = 1
rise = 0
on_unknown = "keeps"
[[check]]
name = "n"
uplinks = [ "uplink1", "x" ]
kind = "neighbour"
address = "10.0.0.300"
timeout = 2
[[check]]
name = "n"
kind = "command"
command = [ "ping", "x" ]
ttl = 1
[[check]]
kinds = 3
[[check]]
name = "m"
uplinks = []
kind = "neighbour"
address = "224.0.0.1"
)",
                                          "f" );
   EXPECT_EQ(
       config.errors,
       ( Errors{
           R"(f:1:22: expected mass_failure_delay to be a number of seconds from 0 to 86400, not -1)",
           R"(f:7:8: the name of a check has no white space in it, and at most 64 bytes)",
           R"(f:10:12: "interval" is for checks of kind "neighbour" or "command", and this one is of kind "reported"; remove it)",
           R"(f:11:8: expected rise to be a whole number from 1 to 100, not 0)",
           R"(f:12:14: expected on_unknown to be "keep", "up" or "down", not "keeps")",
           R"(f:15:11: a neighbour is on one uplink; write a check for each)",
           R"(f:17:11: expected address to be the address of one neighbour, as "10.0.0.1" or "fe80::1", not "10.0.0.300")",
           R"(f:18:11: the timeout, 2 s, is longer than the interval, 1 s; raise interval or lower timeout)",
           R"(f:19:1: this check has no uplinks; expected uplinks = [ "...", ... ])",
           R"(f:20:8: there is a check "n" on line 14 already; each check needs a name of its own)",
           R"(f:22:11: expected the path of a program, beginning with a slash, not "ping")",
           R"(f:24:1: this check has no kind; expected kind = "reported" or "neighbour" or "command")",
           R"(f:24:1: this check has no name; expected name = "...")",
           R"(f:24:1: this check has no uplinks; expected uplinks = [ "...", ... ])",
           R"(f:25:1: unknown key "kinds" in a check; did you mean "kind"?)",
           R"(f:28:11: this check has no uplinks; expected uplinks = [ "...", ... ])",
           R"(f:30:11: expected address to be the address of one neighbour, as "10.0.0.1" or "fe80::1", not "224.0.0.1")",
       } ) );
   EXPECT_EQ(
       config.warnings,
       ( Errors{
           R"(f:8:13: warning: no group monitors "uplink2", so check "a b" has no effect on it; did you mean "uplink1"?)",
           R"(f:15:24: warning: no group monitors "x", so check "n" has no effect on it; name it in the monitor of a group)",
           R"(f:23:7: warning: the ttl is shorter than interval and timeout together, 1.8 s: the result may be unknown in between)",
       } ) );
}

TEST( ConfigFile, reportsGroupsThatCannotWorkAsConfigured ) {
   SystemView system{ { { "bond0", { "bond0", "p1", "p2" } },
                        { "p1", { "p1" } },
                        { "p2", { "p2" } },
                        { "u1", { "u1" } },
                        { "u1-alias", { "u1" } },
                        { "d9-alias", { "d9" } },
                        { "u9-alias", { "u9" } } },
                      { { "v3", { "d3" } } },
                      { linkOf( 1, "d9", 2 ), linkOf( 2, "br0" ), linkOf( 3, "d8", 2 ),
                        linkOf( 4, "p2" ), linkOf( 5, "u9", 6 ), linkOf( 6, "br1" ),
                        linkOf( 7, "d0", 6 ), linkOf( 8, "u1", 6 ) },
                      { defaultRouteBy( { 2, 4 } ), defaultRouteBy( { 6 } ) } };
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
min_links = 0
[[group]]
name = "off"
monitor = [ "u9" ]
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
allow_default_route = true
[[group]]
name = "member"
monitor = [ "p2" ]
disable = [ "x" ]
enabled = false
force_down = true
[[group]]
name = "vlan"
monitor = [ "v3", "u9-allias" ]
disable = [ "d3" ]
min_links = 0
force_down = true
dry_run = true
)",
                                          "f", &system );
   EXPECT_EQ(
       config.errors,
       ( Errors{
           R"(f:4:13: group "a" disables "d1", which group "b" monitors; group "b" disables "d2", which group "c" monitors; group "c" disables "u1", which group "a" monitors; once down, they would keep each other down; break the circle)",
           R"(f:4:19: "p1" is a member of "bond0", which is in this group as well; list either the LAG or its members)",
           R"(f:5:1: group "b" monitors 2 interfaces, fewer than its min_links, 3, so that its ports would always be shut; list more uplinks or lower min_links)",
           R"(f:14:1: group "end" monitors no interface; list its uplinks in monitor)",
           R"(f:26:19: "u1-alias" is another name of "u1", which is in this group as well; list it once)",
           R"(f:31:13: group "lag" disables "bond0", which group "member" monitors as "p2"; group "member" disables "x", which group "lag" monitors; once down, they would keep each other down; break the circle)",
           R"(f:33:1: group "member" has enabled = false and force_down = true, which contradict each other; remove one of the two)",
       } ) );
   EXPECT_EQ(
       config.warnings,
       ( Errors{
           R"(f:13:19: warning: "d9-alias" carries this machine's default route and is not shut while it does; to shut it all the same, set allow_default_route = true)",
           R"(f:19:1: note: group "off" has a min_links of 0: its ports are never shut)",
           R"(f:19:1: warning: group "off" disables no port: only its status is reported)",
           R"(f:30:13: note: there is no interface "x" yet)",
           R"(f:31:13: warning: "bond0" carries this machine's default route and is shut all the same (allow_default_route))",
           R"(f:39:1: note: group "vlan" has a min_links of 0: its ports are never shut)",
           R"(f:39:1: warning: group "vlan" has force_down = true, which has no effect in dry_run: its ports are not shut)",
           R"(f:41:19: warning: there is no interface "u9-allias"; did you mean "u9-alias"?)",
           R"(f:42:13: warning: the uplink "v3" runs on "d3", which this group disables: once down, it may stay down)",
       } ) );
}

TEST( ConfigFile, readsHowManyUplinksAGroupNeeds ) {
   auto const read = []( std::string const& keys ) {
      return parseConfig( "[[group]]\nname = 'a'\nmonitor = ['u1', 'u2', 'u3', 'u4', 'u5']\n"
                          "disable = ['d1']\n" +
                              keys,
                          "f" );
   };
   auto const numbers = [ & ]( std::string const& keys ) {
      ConfigFile const config = read( keys );
      GroupSettings const& group = config.groups.at( 0 );
      return std::pair( config.errors.empty() ? group.config->minLinks() : 99,
                        group.policy.recoverLinks );
   };
   using Numbers = std::pair< unsigned int, unsigned int >;
   EXPECT_EQ( numbers( "min_percent = 50\nrecover_percent = 61" ), Numbers( 3, 4 ) );
   EXPECT_EQ( numbers( "min_percent = 1\nrecover_percent = 100" ), Numbers( 1, 5 ) );
   EXPECT_EQ( numbers( "min_links = 2\nrecover_percent = 40" ), Numbers( 2, 2 ) );
   EXPECT_EQ( numbers( "min_percent = 60\nrecover_links = 5" ), Numbers( 3, 5 ) );
   EXPECT_EQ(
       read( "min_percent = 0\nrecover_percent = 101\nrecover_links = 0" ).errors,
       ( Errors{
           R"(f:5:15: expected min_percent to be a whole number from 1 to 100, not 0)",
           R"(f:6:19: expected recover_percent to be a whole number from 1 to 100, not 101)",
           R"(f:7:17: expected recover_links to be a whole number from 1 to 4294967295, not 0)",
       } ) );
   EXPECT_EQ(
       read( "min_links = 1\nmin_percent = 40\nrecover_links = 3\nrecover_percent = 60" ).errors,
       ( Errors{
           R"(f:6:15: "min_percent" is given in place of "min_links", which is here as well; write only one of them)",
           R"(f:8:19: "recover_percent" is given in place of "recover_links", which is here as well; write only one of them)",
       } ) );
   EXPECT_EQ(
       read( "min_percent = 60\nrecover_links = 2" ).errors,
       Errors{
           R"(f:1:1: group "a" needs 3 uplinks to stay up, but only 2 to come up again; recover_links or recover_percent must be at least min_links or min_percent)" } );
   EXPECT_EQ(
       read( "recover_links = 6" ).errors,
       Errors{
           R"(f:1:1: group "a" monitors 5 interfaces, fewer than its recover_links, 6, so that its ports would never be opened again; list more uplinks or lower recover_links)" } );
   EXPECT_EQ(
       read( "min_links = 0\nrecover_links = 2" ).warnings.at( 1 ),
       R"(f:1:1: warning: group "a" has a min_links of 0, so that it never goes down: recover_links has no effect)" );
}

TEST( ConfigFile, refusesToDisableAProtectedInterface ) {
   SystemView system{
      { { "bond0", { "bond0", "p1" } }, { "d-alias", { "d" } } }, { { "v3", { "d3" } } }, {}, {}
   };
   ConfigFile const config = parseConfig( R"(protect = [ "mgmt0", "d", "p1", "v3" ]
[[group]]
name = "a"
monitor = [ "u" ]
disable = [ "mgmt0", "d-alias", "bond0", "d3", "free" ]
)",
                                          "f", &system );
   EXPECT_EQ(
       config.errors,
       ( Errors{
           R"(f:5:13: "mgmt0" is protected by this file; remove one of the two)",
           R"(f:5:22: "d-alias" is the same interface or LAG as "d", which is protected by this file; remove one of the two)",
           R"(f:5:33: "bond0" is the same interface or LAG as "p1", which is protected by this file; remove one of the two)",
           R"(f:5:42: "d3" carries "v3", which is protected by this file; remove one of the two)",
       } ) );
   EXPECT_EQ( parseConfig( "protect = 'mgmt0'", "f" ).errors,
              Errors{ "f:1:11: expected a list of interface names, protect = [ \"...\", ... ], not "
                      "a text" } );
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
      return "[[group]]\nname = \"" + std::string( size, 'n' ) +
             "\"\nmonitor = [ \"u\" ]\ndisable = []\n";
   };
   EXPECT_EQ( firstError( named( 1024 ) ), "none" );
   EXPECT_EQ( firstError( named( 1025 ) ),
              "f:2:8: the name of a group has at most 1024 bytes, not 1025" );
   EXPECT_EQ( readConfig( "/no/such/file" ).errors,
              Errors{ "/no/such/file: can't be read: No such file or directory" } );
   EXPECT_EQ( readConfig( "/tmp" ).errors,
              Errors{ "/tmp: can't be read: it is a directory; give the path of a regular file" } );
   Directory const directory;
   std::string const path = directory.path() + "/f";
   ASSERT_EQ( mkfifo( path.c_str(), 0600 ), 0 );
   EXPECT_EQ(
       readConfig( path ).errors,
       Errors{ path + ": can't be read: it is a named pipe; give the path of a regular file" } );
   std::filesystem::remove( path );
   std::ofstream( path ) << std::string( 1 << 20, '\n' );
   EXPECT_EQ( readConfig( path ).errors, Errors() );
   std::ofstream( path, std::ios::app ) << '\n';
   EXPECT_EQ( readConfig( path ).errors,
              Errors{ path + ": can't be read: it is larger than 1024 KiB; see whether it is the "
                             "right file" } );
}

std::string
repeated( std::string_view text, int times ) {
   std::string all;
   while ( times-- > 0 )
      all += text;
   return all;
}

// The TOML library would reach code that it takes for unreachable.
TEST( ConfigFile, refusesLettersWhereTheyAreNeverRight ) {
   std::string const outside =
       ": only a text in quotes or a comment can have letters other than ASCII";
   EXPECT_EQ( parseConfig( "# \u00e9\nr\u00e9 = 1", "f" ).errors, Errors{ "f:2:2" + outside } );
   EXPECT_EQ( parseConfig( "a = [ \"\u00e9\", \u00e9 ]", "f" ).errors,
              Errors{ "f:1:12" + outside } );
   for ( std::string const text : { "a = \"\"\"\\\u00e9\"\"\"", "a = \"\"\"\\\n \u00e9\"\"\"" } )
      EXPECT_THAT( parseConfig( text, "f" ).errors.at( 0 ), HasSubstr( ": behind a backslash" ) );
   for ( std::string const text : { "a =1\"\"\"\u00e9\"\"\"", "a =1=\"\u00e9\"", "a =1[\"\u00e9\"",
                                    "a =1{b=\"\u00e9\"", "a =2.\"\u00e9\"" } )
      EXPECT_THAT( parseConfig( text, "f" ).errors.at( 0 ),
                   StartsWith( "f:1:" + std::to_string( 5 + ( text[ 3 ] == '2' ) ) +
                               ": a value can't go on with this" ) )
          << text;
   EXPECT_EQ( parseConfig( "a = 'b' # \x7f", "f" ).errors,
              Errors{ "f:1:11: a configuration can't have control characters in it" } );
   EXPECT_EQ( parseConfig( "\xef\xbb\xbf[[group]]\nname = \"\\u00e9\u00e9\\\"\"\n"
                           "monitor = [ '\\\u00e9' ]\ndisable = [ '''\\\u00e9''' ]",
                           "f" )
                  .errors.size(),
              1u ); // Only that the port is monitored as well.
}

// The TOML library would use up the stack.
TEST( ConfigFile, refusesTextsThatAreTooDeep ) {
   std::vector< std::pair< std::string, std::string > > const texts{
      { "[" + repeated( "a.", 50000 ) + "a]", "1:33" },
      { repeated( "a . ", 50000 ) + "a = 1", "1:67" },
      { "a = " + repeated( "[", 50000 ), "1:21" },
      { "[[a]]\na = " + repeated( "{ a = ", 50000 ), "2:101" },
      { "a = " + repeated( "{ a.b.c.d = ", 50000 ), "1:53" },
      // The strings end before the brackets begin.
      { R"(a = [ """x\"""y"""", '''x''''', "\\", 'x\', )" + repeated( "[", 50000 ), "1:60" },
      { "a = ''\n# '''\n" + repeated( "[", 50000 ), "3:17" },
   };
   for ( auto const& [ text, place ] : texts )
      EXPECT_EQ( parseConfig( text, "f" ).errors,
                 Errors{ "f:" + place +
                         ": more than 16 brackets, braces and dots enclose this; see whether one "
                         "was left open above" } )
          << text.substr( 0, 50 );
   std::string const brackets = repeated( "[.{", 50 );
   EXPECT_EQ( parseConfig( "# " + brackets + "\n[[group]]\nname = \"" + brackets + "\\\"" +
                               brackets + "\"\nmonitor = [ '" + repeated( "u.1', 'v.", 1 ) +
                               "' ]\ndisable = []\n" + repeated( "# '\n\n", 20 ) +
                               "recovery_delay = 1.5\n",
                           "f" )
                  .errors,
              Errors() );
}

TEST( ConfigFile, listsAHundredFindings ) {
   std::string text;
   for ( int i = 0; i < 20000; ++i )
      text += "wrong" + std::to_string( i ) + " = 1\n";
   Errors const errors = parseConfig( text, "f" ).errors;
   ASSERT_EQ( errors.size(), 101u );
   EXPECT_THAT( errors[ 99 ], StartsWith( "f:100:1: unknown key" ) );
   EXPECT_EQ( errors[ 100 ], "f: ... and 19900 more errors" );
   // A message quotes what it is about.
   Errors const longOne = parseConfig( repeated( "wrong", 20000 ) + " = 1", "f" ).errors;
   ASSERT_EQ( longOne.size(), 1u );
   EXPECT_LT( longOne[ 0 ].size(), 3000u );
}

TEST( ConfigFile, readsTheRoutesThatPortsWaitFor ) {
   std::string const group = "[[group]]\nname = 'a'\nmonitor = ['u1']\ndisable = ['d1']\n";
   ConfigFile const right =
       parseConfig( group + "release_when = ['::/0', 'default-route', '10.64.0.0/10']\n", "f" );
   ASSERT_EQ( right.errors, Errors() );
   std::string texts;
   for ( RouteCondition const& condition : right.groups[ 0 ].policy.releaseWhen )
      texts += condition.text() + ' ';
   EXPECT_EQ( texts, "10.64.0.0/10 ::/0 default-route " );
   EXPECT_EQ(
       parseConfig( group + "release_when = ['10.65.0.1/10', 'fe80::/129', 'default']\n", "f" )
           .errors,
       ( Errors{
           R"(f:5:17: "10.65.0.1/10" has bits set after its length; did you mean "10.64.0.0/10"?)",
           R"(f:5:33: "fe80::/129" is no route to wait for; expected "default-route" or a prefix such as "10.0.0.0/8" or "::/0")",
           R"(f:5:47: "default" is no route to wait for; expected "default-route" or a prefix such as "10.0.0.0/8" or "::/0")",
       } ) );
}

} // namespace
} // namespace Ufdd
