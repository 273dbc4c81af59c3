#include "tests/agent/Process.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Ufdd {
namespace {

using Json = nlohmann::json;

TEST( Describe, printsATypeAsATable ) {
   EXPECT_EQ( ufdctl( { "describe", "UplinkFailureDetection::Config" } ).first,
              R"(name space UplinkFailureDetection

  Config : Zet::Entity, entity, generic interface
    is made from ( name: Zet::Name )
    ID   NAME                    TYPE                                 KEY        WORD0     WORD1     INTRO  KIND
    6    isNondestructing        Zet::Builtin<bool>                   -          00002043  01000000  0      scalar
    154  zetHasAttrLogInterface  Zet::Builtin<bool>                   -          00022001  00000400  8      function
    258  group                   UplinkFailureDetection::GroupConfig  Zet::Name  09a20143  11000400  34     collection of objects
    group is made from ( name: Zet::Name ), its key is name

)" );
   std::string const all = ufdctl( { "describe" } ).first;
   for ( char const* const line :
         { "\n  GroupLinkStatus, value, enumeration, generic interface\n    ID  NAME ",
           "\n    handleIntf takes ( intfId: Kelnet::IntfId )\n" } )
      EXPECT_NE( all.find( line ), std::string::npos ) << line;
}

TEST( Describe, printsATypeAsJson ) {
   auto const typesOf = []( std::vector< std::string > const& words ) {
      return Json::parse( ufdctl( words ).first ).at( "nameSpaces" ).at( 0 ).at( "types" );
   };
   Json type = typesOf( { "describe", "--json", "Config" } ).at( 0 );
   EXPECT_GT( type[ "size" ], 0 );
   type.erase( "size" );
   type[ "attributes" ].erase( 0 );
   EXPECT_EQ( type, Json::parse( R"({
      "name": "Config", "base": "Zet::Entity", "traits": [ "entity", "generic interface" ],
      "constructor": [ { "name": "name", "type": "Zet::Name" } ],
      "attributes": [
         { "id": 154, "name": "zetHasAttrLogInterface", "type": "Zet::Builtin<bool>", "key": null,
           "flags": [ 139265, 1024 ], "introspection": 8, "kind": "function" },
         { "id": 258, "name": "group", "type": "UplinkFailureDetection::GroupConfig",
           "key": "Zet::Name", "flags": [ 161612099, 285213696 ], "introspection": 34,
           "kind": "collection of objects", "keyedBy": "name",
           "arguments": [ { "name": "name", "type": "Zet::Name" } ] } ] })" ) );
   // The types of the model and of the machines; then ufdd's own.
   Json const all = Json::parse( ufdctl( { "describe", "--json" } ).first ).at( "nameSpaces" );
   EXPECT_EQ( all.at( 0 ).at( "types" ).size(), 9u );
   EXPECT_EQ( all.at( 1 ).at( "types" ).size(), 13u );
}

TEST( Describe, namesTheNearestType ) {
   EXPECT_EQ(
       ufdctl( { "describe", "Confg" } ),
       std::pair( std::string( "ufdctl: there is no type \"Confg\"; did you mean Config?\n" ),
                  2 ) );
}

} // namespace
} // namespace Ufdd
