#include "platform/zet/String8.h"

#include "platform/kelnet/IntfId.h"
#include "tests/support/Allocations.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Kelnet::IntfId;
using Zet::String8;

TEST( String8, sharesItsText ) {
   String8 const text = "a text that does not fit into any small buffer";
   String8 copy;
   EXPECT_EQ( Tests::allocationsOf( [ & ] { copy = text; } ), 0u );
   EXPECT_EQ( copy.c_str(), text.c_str() );
   String8 const moved = std::move( copy );
   EXPECT_EQ( moved, text );
   EXPECT_EQ( Tests::allocationsOf( [] { EXPECT_TRUE( String8( "" ).empty() ); } ), 0u );
   EXPECT_EQ( String8( "a" ) + "b" + std::string( "c" ), String8( "abc" ) );
   EXPECT_EQ( String8() + "", String8() );
}

TEST( String8, isAStringOfBytes ) {
   using namespace std::string_view_literals;
   String8 const zero( "a\0b"sv );
   EXPECT_EQ( zero.size(), 3u );
   EXPECT_FALSE( zero == String8( "a" ) );
   EXPECT_FALSE( zero == "a" );
   EXPECT_NE( zero.hash(), String8( "a" ).hash() );
   EXPECT_EQ( zero.end() - zero.begin(), 3 );
   EXPECT_EQ( zero.c_str()[ 3 ], '\0' );
   // By unsigned bytes, the shorter first.
   String8 const ascending[] = { "", "a", zero, "ab", "b", "\x7f", "\x80", "\xff" };
   for ( std::size_t one = 0; one < std::size( ascending ); ++one )
      for ( std::size_t other = 0; other < std::size( ascending ); ++other )
         EXPECT_EQ( ascending[ one ] < ascending[ other ], one < other );
}

TEST( String8, hashesAlikeInEveryProcess ) {
   EXPECT_EQ( ( String8( "gro" ) + "up" ).hash(), String8( "group" ).hash() );
   // Worked out apart from the code: replicas built at different times agree on the order.
   EXPECT_EQ( String8( "" ).hash(), 0x74141c20u );
   EXPECT_EQ( String8( "Ethernet1" ).hash(), 0x6e560313u );
   EXPECT_EQ( String8( "\xff" ).hash(), 0x97b8b2a2u );
}

TEST( IntfId, standsForAName ) {
   static_assert( sizeof( IntfId ) == 4 && std::is_trivially_copyable_v< IntfId > );
   std::vector< IntfId > ids;
   // Last names first.
   for ( int number = 3000; number-- > 0; )
      ids.emplace_back( "et" + std::to_string( number ) );
   ids.emplace_back();
   ids.emplace_back( "" );
   // Two of one hash, and one that comes among the first of all that there could be.
   for ( char const* const name : { "pe1d1fse", "pd45fcsb", "et53358" } )
      ids.emplace_back( name );
   EXPECT_EQ( ids[ 3002 ].hash(), ids[ 3003 ].hash() );
   EXPECT_NE( ids[ 3002 ], ids[ 3003 ] );
   for ( IntfId const one : ids ) {
      ASSERT_EQ( one.hash(), one.name().hash() );
      ASSERT_EQ( IntfId( std::string( one.name().view() ) ), one );
   }
   EXPECT_EQ( ids[ 0 ].name(), "et2999" );
   EXPECT_EQ( ids[ 3000 ], ids[ 3001 ] );
   EXPECT_EQ( ids[ 3000 ].name(), "" );
   EXPECT_EQ( ids[ 3000 ].value(), 0u );
   EXPECT_NE( ids[ 0 ], ids[ 1 ] );
   // Ordered as the names, not as they were first seen.
   EXPECT_TRUE( IntfId() < IntfId( "et998" ) && IntfId( "et998" ) < IntfId( "et999" ) );
   EXPECT_TRUE( IntfId( "et1000" ) < IntfId( "et998" ) );
   EXPECT_FALSE( IntfId( "et999" ) < IntfId( "et998" ) || ids[ 0 ] < ids[ 0 ] );
   std::ostringstream text;
   text << ids[ 0 ];
   EXPECT_EQ( text.str(), "et2999" );
}

} // namespace
