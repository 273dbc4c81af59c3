#include "agent/ConfigFile.h"

#include "agent/InterfaceName.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Ufdd {
namespace {

using Errors = std::vector< std::string >;

TEST( ConfigFile, readsGroupsInTheirOrder ) {
   ConfigFile const config = parseConfig( R"(detection = "poll"
detection_interval = 10
protodown_reason = 31
[[group]]
name = "rack 2"
monitor = [ "eth1", "eth2" ]
disable = [ "swp1" ]
min_links = 2
[[group]]
name = "rack 1"
monitor = []
disable = [ "a-name-of-15byt" ]
)",
                                          "f" );
   ASSERT_EQ( config.errors, Errors() );
   ASSERT_EQ( config.groups.size(), 2u );
   EXPECT_EQ( config.groups[ 0 ].name, "rack 2" );
   EXPECT_EQ( config.groups[ 0 ].monitor, ( std::vector< std::string >{ "eth1", "eth2" } ) );
   EXPECT_EQ( config.groups[ 0 ].disable, ( std::vector< std::string >{ "swp1" } ) );
   EXPECT_EQ( config.groups[ 0 ].minLinks, 2u );
   EXPECT_EQ( config.groups[ 1 ].minLinks, 1u );
   EXPECT_EQ( config.detection.mode, DetectionSettings::Mode::poll );
   EXPECT_EQ( config.detection.intervalMs, 10u );
   EXPECT_EQ( config.protoDownReason, 31u );
   ConfigFile const nothing = parseConfig( "", "f" );
   EXPECT_TRUE( nothing.errors.empty() );
   EXPECT_EQ( nothing.detection.mode, DetectionSettings::Mode::verify );
}

TEST( ConfigFile, findsAllThatIsWrongAndTellsWhere ) {
   ConfigFile const config = parseConfig( R"(extra = 1
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
[[group]]
name = "b"
disable = []
links = 1.5
min_links = 1.5
[[group]]
name = ""
monitor = []
disable = []
)",
                                          "f.toml" );
   EXPECT_EQ(
       config.errors,
       ( Errors{
           R"(f.toml:1:1: unknown key "extra" in the file; expected group, detection, detection_interval, protodown_reason)",
           R"(f.toml:2:1: this group has no name; expected name = "...")",
           R"(f.toml:3:1: unknown key "nam" in a group; did you mean "name"?)",
           R"(f.toml:4:11: expected a list of interface names, monitor = [ "...", ... ], not a text)",
           R"(f.toml:5:19: "d1" is in this list already)",
           R"(f.toml:5:25: expected the name of an interface as a text in quotes, not a number)",
           R"(f.toml:5:28: "a/b" is not the name of an interface: it has a slash, a colon or white space in it)",
           R"(f.toml:5:35: "" is not the name of an interface: it is empty)",
           R"(f.toml:6:13: expected min_links to be a whole number from 0 to 4294967295, not -1)",
           R"(f.toml:10:13: "eth1" is monitored by this group and can't be disabled by it as well; remove it from one of the lists)",
           R"(f.toml:11:13: expected min_links to be a whole number from 0 to 4294967295, not 4294967296)",
           R"(f.toml:12:1: this group has no list of interfaces to monitor; expected monitor = [ "...", ... ])",
           R"(f.toml:13:8: there is a group "b" on line 8 already; each group needs a name of its own)",
           R"(f.toml:15:1: unknown key "links" in a group; expected name, monitor, disable, min_links)",
           R"(f.toml:16:13: expected min_links to be a whole number from 0 to 4294967295, not a fraction)",
           R"(f.toml:18:8: the name of a group can't be empty)",
       } ) );
}

TEST( ConfigFile, tellsWhereTheTextIsNotToml ) {
   auto const firstError = []( std::string_view text ) {
      Errors const errors = parseConfig( text, "f" ).errors;
      return errors.empty() ? "none" : errors[ 0 ];
   };
   EXPECT_EQ( firstError( "[group]\nname = \"a\"\n" ),
              "f:1:1: expected groups that begin with [[group]], not a table" );
   EXPECT_EQ(
       firstError( "detection = \"never\"\n" ),
       "f:1:13: expected detection to be \"events\", \"verify\" or \"poll\", not \"never\"" );
   EXPECT_EQ( firstError( "detection_interval = 0\n" ),
              "f:1:22: expected detection_interval to be a whole number of milliseconds from 1 to "
              "1000" );
   EXPECT_EQ( firstError( "[[group]]\nname = \"a\nmonitor = []\n" ).substr( 0, 7 ), "f:2:10:" );
   EXPECT_EQ( readConfig( "/no/such/file" ).errors,
              Errors{ "/no/such/file: can't be read: No such file or directory" } );
   EXPECT_EQ( readConfig( "/tmp" ).errors, Errors{ "/tmp: can't be read: Is a directory" } );
}

} // namespace
} // namespace Ufdd
