#include "tests/agent/Process.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace Ufdd {
namespace {

// What ufdctl wrote, and how it ended.
std::pair< std::string, int >
ufdctl( std::vector< std::string > arguments ) {
   Process process( std::move( arguments ), Process::Rights::all, builtProgram( "ufdctl" ) );
   int const status = process.wait();
   return { process.output(), status };
}

using Json = nlohmann::json;

std::string
hex( Json const& word ) {
   char digits[ 9 ];
   std::snprintf( digits, sizeof digits, "%08x", word.get< unsigned int >() );
   return digits;
}

std::string
orNone( Json const& name ) {
   return name.is_null() ? "none" : name;
}

// "(a: A, b: B)", or nothing.
std::string
argumentsText( Json const& arguments ) {
   std::string list;
   for ( Json const& argument : arguments )
      list += ( list.empty() ? "" : ", " ) + argument[ "name" ].get< std::string >() + ": " +
              argument[ "type" ].get< std::string >();
   return list.empty() ? list : "(" + list + ")";
}

// Types, as the table of announcements has them.
std::string
announced( Json const& types ) {
   std::ostringstream text;
   for ( Json const& type : types ) {
      text << "  type " << std::string( type[ "name" ] ) << " base " << orNone( type[ "base" ] )
           << '\n';
      for ( Json const& one : type[ "attributes" ] ) {
         bool const hasContext = one.contains( "arguments" );
         text << ( hasContext ? "    attr " : "    def " ) << one[ "id" ] << ' '
              << std::string( one[ "name" ] ) << ' ' << std::string( one[ "type" ] ) << " key "
              << orNone( one[ "key" ] ) << ' ' << hex( one[ "flags" ][ 0 ] ) << '/'
              << hex( one[ "flags" ][ 1 ] ) << ' ' << one[ "introspection" ] << '\n';
         if ( !hasContext )
            continue;
         for ( Json const& argument : one[ "arguments" ] )
            text << "      argument " << std::string( argument[ "name" ] ) << ": "
                 << std::string( argument[ "type" ] ) << '\n';
         if ( one.contains( "keyedBy" ) )
            text << "      keyed by " << std::string( one[ "keyedBy" ] ) << '\n';
         text << "    context exit\n";
      }
      text << "  scope exit";
      for ( auto const& [ trait, word ] :
            { std::pair( "entity", "entity" ), std::pair( "value", "value" ),
              std::pair( "enumeration", "enum" ), std::pair( "generic interface", "genericIf" ) } )
         for ( Json const& one : type[ "traits" ] )
            text << ( one == trait ? std::string( " " ) + word : "" );
      std::string const constructor = argumentsText( type[ "constructor" ] );
      text << ( type[ "size" ] != 0 ? " sized" : "" ) << ( constructor.empty() ? "" : " " )
           << constructor << '\n';
   }
   return text.str();
}

// The types of both units: the lines that belong to one.
std::string
announcements() {
   std::ifstream file( ANNOUNCEMENTS_FILE );
   std::string types;
   for ( std::string line; std::getline( file, line ); )
      if ( line.starts_with( ' ' ) )
         types += line + '\n';
   return types;
}

TEST( Describe, printsWhatTheIntrospectionReactorIsTold ) {
   auto const [ text, status ] = ufdctl( { "describe", "--json" } );
   ASSERT_EQ( status, 0 );
   Json const nameSpaces = Json::parse( text );
   ASSERT_EQ( nameSpaces.size(), 1u );
   EXPECT_EQ( nameSpaces[ 0 ][ "nameSpace" ], "UplinkFailureDetection" );
   EXPECT_EQ( announced( nameSpaces[ 0 ][ "types" ] ), announcements() );
}

// Of any number of spaces one.
std::string
squeezed( std::string text ) {
   auto const isSecond = []( char a, char b ) { return a == ' ' && b == ' '; };
   text.erase( std::unique( text.begin(), text.end(), isSecond ), text.end() );
   return text;
}

TEST( Describe, printsTheSameAsTables ) {
   std::string const text = squeezed( ufdctl( { "describe" } ).first );
   Json const types = Json::parse( ufdctl( { "describe", "--json" } ).first )[ 0 ][ "types" ];
   for ( Json const& type : types )
      for ( Json const& one : type[ "attributes" ] ) {
         std::ostringstream row;
         row << "\n " << one[ "id" ] << ' ' << std::string( one[ "name" ] ) << ' '
             << std::string( one[ "type" ] ) << ' '
             << ( one[ "key" ].is_null() ? "-" : std::string( one[ "key" ] ) ) << ' '
             << hex( one[ "flags" ][ 0 ] ) << ' ' << hex( one[ "flags" ][ 1 ] ) << ' '
             << one[ "introspection" ] << ' ' << std::string( one[ "kind" ] ) << '\n';
         EXPECT_NE( text.find( row.str() ), std::string::npos ) << row.str();
      }
   for ( char const* const line :
         { "name space UplinkFailureDetection\n\n GroupConfig : Zet::Entity, entity, generic "
           "interface\n is made from ( name: Zet::Name )\n ID NAME TYPE KEY WORD0 WORD1 INTRO "
           "KIND\n",
           "\n GroupLinkStatus, value, enumeration, generic interface\n ID ",
           "\n group is made from ( name: Zet::Name ), its key is name\n",
           "\n handleIntf takes ( intfId: Kelnet::IntfId )\n" } )
      EXPECT_NE( text.find( line ), std::string::npos ) << line;
}

TEST( Describe, findsATypeByEitherName ) {
   std::string const all = ufdctl( { "describe" } ).first;
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
