#include "agent/config/TableReader.h"

#include "tests/support/Gauge.h"

#include <gtest/gtest.h>

namespace Ufdd {
namespace {

using Tests::Gauge;

class TableReaderTest : public testing::Test {
 protected:
   void read( std::string_view text ) { reader.read( toml::parse( text ), *gauge, "this gauge" ); }

   Zet::Ptr< Gauge > gauge = Zet::make< Gauge >( "g" );
   Findings findings{ "f" };
   TableReader< Gauge > reader{ {}, findings };
};

TEST_F( TableReaderTest, readsAnyTypeByItsRows ) {
   read( R"(is_open = true
value = 3
link = "down"
level = { eth1 = 7, eth2 = 8 }
)" );
   EXPECT_EQ( findings.errors(), std::vector< std::string >() );
   EXPECT_TRUE( gauge->isOpen() );
   EXPECT_EQ( gauge->value(), 3.0 );
   EXPECT_EQ( gauge->link(), Gauge::Link::down );
   EXPECT_EQ( gauge->level( Kelnet::IntfId( "eth2" ) ), 8u );
   EXPECT_EQ( reader.keys(), ( std::vector< std::string >{ "value", "title", "is_open", "link",
                                                           "colour", "level" } ) );
   EXPECT_FALSE( reader.reads( "is_full" ) || reader.reads( "is_nondestructing" ) );

   auto const other = Zet::make< Gauge >( "o" );
   other->levelIs( Kelnet::IntfId( "eth3" ), 1 );
   EXPECT_FALSE( isConfiguredAlike( *gauge, *other ) );
   copyConfiguration( *gauge, *other, CopyOrder::addFirst );
   EXPECT_TRUE( isConfiguredAlike( *gauge, *other ) );
   EXPECT_EQ( other->value(), 3.0 );
   EXPECT_TRUE( other->isOpen() );
   EXPECT_EQ( other->link(), Gauge::Link::down );
   EXPECT_EQ( other->levelMembers().count(), 2u );
}

TEST_F( TableReaderTest, reportsWhatTheTypeExpects ) {
   read( R"(is_open = 1
value = "long"
link = "sideways"
level = { eth1 = -7, "a/b" = 1, eth2 = 2, "c\nd" = 3 }
)" );
   EXPECT_EQ(
       findings.errors(),
       ( std::vector< std::string >{
           R"(f:1:11: expected is_open to be true or false, not 1)",
           R"(f:2:9: expected value to be a number, not "long")",
           R"(f:3:8: expected link to be one of "unknown", "up", "down", not "sideways")",
           R"(f:4:18: expected level to be a whole number from 0 to 4294967295, not -7)",
           R"(f:4:30: "a/b" is not the name of an interface: it has a slash, a colon or white space in it)",
           "f:4:52: \"c\nd\""
           R"( is not the name of an interface: it has a slash, a colon or white space in it)",
       } ) );
   EXPECT_EQ( gauge->level( Kelnet::IntfId( "eth2" ) ), 2u );
}

} // namespace
} // namespace Ufdd
