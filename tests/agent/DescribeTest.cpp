#include "tests/agent/Process.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string_view>

namespace Ufdd {
namespace {

// What ufdctl wrote, and how it ended.
std::pair< std::string, int >
ufdctl( std::vector< std::string > arguments ) {
   Process process( std::move( arguments ), Process::Rights::all, UFDCTL_PROGRAM );
   int const status = process.wait();
   // Sizes are the compiler's.
   constexpr std::string_view size = "\"size\": ";
   std::string text = process.output();
   for ( std::size_t at = text.find( size ); at != std::string::npos;
         at = text.find( size, at + 1 ) ) {
      std::size_t const begin = at + size.size();
      std::size_t const end = text.find_first_not_of( "0123456789", begin );
      text.replace( begin, end - begin, "N" );
   }
   return { text, status };
}

std::string
golden( std::string const& name ) {
   std::ifstream file( GOLDEN_FOLDER "/" + name );
   return { std::istreambuf_iterator< char >( file ), {} };
}

TEST( Describe, printsWhatTheIntrospectionReactorWasTold ) {
   EXPECT_EQ( ufdctl( { "describe" } ), std::pair( golden( "describe.txt" ), 0 ) );
   EXPECT_EQ( ufdctl( { "describe", "--json" } ), std::pair( golden( "describe.json" ), 0 ) );
}

TEST( Describe, findsATypeByEitherName ) {
   std::string const all = golden( "describe.txt" );
   auto const [ one, status ] = ufdctl( { "describe", "UplinkFailureDetection::Config" } );
   EXPECT_EQ( status, 0 );
   EXPECT_EQ( ufdctl( { "describe", "Config" } ).first, one );
   EXPECT_LT( one.size(), all.size() / 4 );
   EXPECT_NE( all.find( one.substr( one.find( "  Config" ) ) ), std::string::npos );
   EXPECT_EQ(
       ufdctl( { "describe", "Confg" } ),
       std::pair( std::string( "ufdctl: there is no type \"Confg\"; did you mean Config?\n" ),
                  1 ) );
   EXPECT_EQ( ufdctl( { "descibe", "Config" } ),
              std::pair( std::string( "ufdctl: unknown command \"descibe\"; did you mean "
                                      "describe?\nSee \"ufdctl --help\".\n" ),
                         64 ) );
}

} // namespace
} // namespace Ufdd
