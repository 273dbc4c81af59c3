#include "model/GroupLinkStatus.h"

#include "platform/zet/Strep.h"

#include <gtest/gtest.h>

#include <sstream>

namespace UplinkFailureDetection {

namespace {

constexpr GroupLinkStatus
number( std::uint32_t value ) {
   return static_cast< GroupLinkStatus >( value );
}

TEST( GroupLinkStatus, hasATextForEveryNumber ) {
   struct {
      std::uint32_t value;
      char const* text;
   } const table[] = {
      { 0, "unknown" },
      { 1, "up" },
      { 2, "down" },
      { 3, "GroupLinkStatus(3)" },
      { 0xffffffff, "GroupLinkStatus(-1)" },
   };
   for ( auto const& [ value, text ] : table ) {
      EXPECT_EQ( stringValue( number( value ) ), text );
      EXPECT_EQ( valueToStrep( number( value ) ), "'" + std::string( text ) + "'" );
      std::ostringstream stream;
      EXPECT_EQ( &( stream << number( value ) ), &stream );
      EXPECT_EQ( stream.str(), text );
      if ( value < 3 ) {
         EXPECT_EQ( GroupLinkStatusInstance( value ), number( value ) );
         EXPECT_EQ( GroupLinkStatusInstance( text ), number( value ) );
         EXPECT_EQ( Zet::strepToValue< GroupLinkStatus >( text ), number( value ) );
         EXPECT_EQ( Zet::strepToValue< GroupLinkStatus >( valueToStrep( number( value ) ) ),
                    number( value ) );
      } else
         EXPECT_THROW( GroupLinkStatusInstance( value ), Zet::RangeException );
   }
}

TEST( GroupLinkStatus, refusesJunkByName ) {
   struct {
      char const* text;
      char const* failure;
   } const table[] = {
      { "", "GroupLinkStatus" },
      { "Up", "GroupLinkStatus" },
      { "'up '", "GroupLinkStatus" },
      { "'down", "no closing quote in 'down" },
   };
   for ( auto const& [ text, failure ] : table )
      try {
         Zet::strepToValue< GroupLinkStatus >( text );
         ADD_FAILURE() << text;
      } catch ( Zet::RangeException const& exception ) {
         EXPECT_STREQ( exception.what(), failure );
      }
   using namespace std::string_view_literals;
   EXPECT_THROW( GroupLinkStatusInstance( "up\0"sv ), Zet::RangeException );
   Zet::String8 const sequence = "'up' and more";
   Zet::String8::IteratorConst at = sequence.begin();
   EXPECT_EQ( sequenceToValue( at, sequence.end(), nullptr ), GroupLinkStatus::up );
   EXPECT_EQ( at - sequence.begin(), 4 );
}

} // namespace

} // namespace UplinkFailureDetection
