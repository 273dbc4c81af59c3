#include "platform/zet/Strep.h"

#include "model/GroupConfig.h"
#include "model/GroupStatus.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupStatus;
using Zet::String8;

// What reading the text throws, by its text.
template < class T, class Failure >
std::string
failureOf( String8 const& text ) {
   try {
      Zet::strepToValue< T >( text );
   } catch ( Failure const& failure ) {
      return failure.what();
   }
   return "read";
}

TEST( Strep, readsOneTokenOfText ) {
   struct {
      char const* text;
      char const* token;
      std::size_t consumed;
   } const table[] = {
      { "bare-1_2.3:4/5 rest", "bare-1_2.3:4/5", 14 },
      { "bare'x'", "bare", 4 },
      { "'quoted ()'rest", "quoted ()", 11 },
      { "''", "", 2 },
      { "", "", 0 },
      { " x", "", 0 },
      { R"('it\'s a \\ and \x')", R"(it's a \ and x)", 19 },
   };
   for ( auto const& [ text, token, consumed ] : table ) {
      String8 const whole = text;
      String8::IteratorConst at = whole.begin();
      EXPECT_EQ( Zet::sequenceToValue< String8 >( at, whole.end() ), token ) << text;
      EXPECT_EQ( at - whole.begin(), static_cast< std::ptrdiff_t >( consumed ) ) << text;
   }
   for ( char const* const open : { "'", "'abc", R"('abc\')", R"('abc\)" } )
      EXPECT_THROW( Zet::strepToValue< String8 >( open ), Zet::RangeException ) << open;
}

TEST( Strep, readsBackWhatItWrites ) {
   std::string everyByte;
   for ( int byte = 0; byte < 256; ++byte )
      everyByte += static_cast< char >( byte );
   EXPECT_EQ( Zet::strepToValue< String8 >( Zet::valueToStrep( String8( everyByte ) ) ),
              String8( everyByte ) );
   EXPECT_EQ( Zet::valueToStrep( String8( R"(it's \)" ) ), R"('it\'s \\')" );
   EXPECT_EQ( ( failureOf< String8, Zet::RangeException >( "'a' b" ) ),
              "junk at column 3 deserializing 'a' b" );
}

TEST( Strep, aPointerReadsBackWhileItsObjectLives ) {
   using Pointer = Zet::Ptr< GroupConfig >;
   auto group = GroupConfig::GroupConfigIs( "g" );
   String8 const text = Zet::valueToStrep( group.get() );
   EXPECT_EQ( Zet::valueToStrep( Zet::Ptr< GroupConfig const >( group ) ), text );
   EXPECT_TRUE( text.view().starts_with( "GroupConfig(0x" ) ) << text;
   EXPECT_EQ( Zet::strepToValue< Pointer >( text ), group );
   EXPECT_EQ( group->references(), 1u );
   EXPECT_EQ( ( failureOf< Pointer, Zet::RangeException >( text + " x" ) ),
              "junk at column " + std::to_string( text.size() ) + " deserializing " +
                  std::string( text.view() ) + " x" );
   String8 const null = Zet::valueToStrep( static_cast< GroupConfig const* >( nullptr ) );
   EXPECT_EQ( Zet::strepToValue< Pointer >( null ), nullptr );

   auto const status = GroupStatus::GroupStatusIs( "g" );
   String8 const other = Zet::valueToStrep( status.get() );
   EXPECT_EQ( ( failureOf< Pointer, Zet::CannotConvertException >( other ) ),
              "cannot convert " + std::string( other.view() ) + " to GroupConfig" );

   group = nullptr;
   auto const successor = GroupConfig::GroupConfigIs( "g" );
   for ( String8 const& dead :
         { text, String8( "GroupConfig(0x1)" ), String8( "GroupConfig(0x" ), String8( "junk" ),
           String8( "" ), text + "0", String8( "GroupConfig(0xfffffffffffffffff)" ) } )
      EXPECT_NE( ( failureOf< Pointer, Zet::CannotConvertException >( dead ) ), "read" ) << dead;
}

} // namespace
