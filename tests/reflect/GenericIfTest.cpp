#include "tests/reflect/ReflectedWorld.h"
#include "tests/support/Allocations.h"
#include "tests/support/Entities.h"

#include <gtest/gtest.h>

#include <vector>

namespace Tests {

namespace {

using Given = Zet::Ptr< Zet::GenericIf >;

Given
flag( bool value ) {
   return Zet::valueIf( value );
}
Given
number( unsigned int value ) {
   return Zet::valueIf( value );
}
Given
text( char const* value ) {
   return Zet::valueIf( Zet::Name( value ) );
}
Given
port( char const* name ) {
   return Zet::valueIf( intf( name ) );
}

struct Step {
   char const* object;
   char const* attribute;
   unsigned int operation;
   Given key;
   Given value;
   std::string result;
};

void
check( ReflectedWorld const& world, std::vector< Step > const& steps ) {
   for ( Step const& step : steps )
      EXPECT_EQ( step.result, done( *world.of( step.object ), step.attribute, step.operation,
                                    step.key, step.value ) )
          << step.object << '.' << step.attribute << ' ' << step.operation;
}

} // namespace

TEST( GenericIf, ValuesAreReadAndSet ) {
   ReflectedWorld const world;
   check( world,
          { { "group", "minLinks", 0, {}, {}, "1" },
            { "group", "minLinks", 128, {}, number( 4294967295 ), "null" },
            { "group", "minLinks", 0, {}, {}, "4294967295" },
            { "group", "minLinks", 0, text( "k" ), {}, "badIndex: minLinks" },
            { "group", "minLinks", 128, text( "k" ), number( 1 ), "badIndex: minLinks" },
            { "group", "minLinks", 128, {}, flag( true ), "type: minLinks" },
            { "group", "minLinks", 128, {}, {}, "type: minLinks" },
            { "group", "minLinks", 1, {}, {}, "opNotSupported 1: minLinks" },
            { "group", "minLinks", 129, {}, {}, "opNotSupported 129: minLinks" },
            { "group", "minLinks", 0, {}, {}, "4294967295" },
            { "group", "minLinksDefault", 0, {}, {}, "1" },
            { "group",
              "minLinksDefault",
              128,
              {},
              number( 2 ),
              "opNotSupported 128: minLinksDefault" },
            { "group", "minLinksDefault", 0, {}, {}, "1" },
            { "group", "fwkKey", 0, {}, {}, "'g'" },
            { "group", "isNondestructing", 0, {}, {}, "false" },
            { "group", "isNondestructing", 128, {}, number( 1 ), "type: isNondestructing" },
            { "groupStatus", "groupLinkStatus", 0, {}, {}, "'down'" },
            { "groupStatus", "groupLinkStatus", 128, {}, text( "up" ), "null" },
            { "groupStatus", "groupLinkStatus", 0, {}, {}, "'up'" },
            { "groupStatus", "groupLinkStatus", 128, {}, number( 0 ), "null" },
            { "groupStatus", "groupLinkStatus", 0, {}, {}, "'unknown'" },
            { "groupStatus", "groupLinkStatus", 128, {}, text( "Up" ), "12: GroupLinkStatus" },
            { "groupStatus", "groupLinkStatus", 128, {}, flag( true ), "type: groupLinkStatus" },
            { "groupStatus", "prevDisabledTime", 128, {}, Zet::valueIf( 2.5 ), "null" },
            { "groupStatus", "prevDisabledTime", 0, {}, {}, "2.5" },
            { "groupSm", "initialized", 0, {}, {}, "true" },
            { "groupSm", "initialized", 128, {}, number( 0 ), "type: initialized" },
            { "group", "noSuch", 0, {}, {}, "unknownAttribute: noSuch" } } );
}

TEST( GenericIf, CollectionsOfValues ) {
   ReflectedWorld const world;
   check( world, { { "group", "intfsToMonitor", 0, port( "e1" ), {}, "true" },
                   { "group", "intfsToMonitor", 0, port( "e2" ), {}, "false" },
                   { "group", "intfsToMonitor", 0, {}, {}, "type: intfsToMonitor" },
                   { "group", "intfsToMonitor", 0, text( "e1" ), {}, "type: intfsToMonitor" },
                   { "group", "intfsToMonitor", 1, {}, {}, "1" },
                   { "group", "intfsToMonitor", 128, port( "e2" ), flag( false ), "null" },
                   { "group", "intfsToMonitor", 128, port( "e3" ), {}, "type: intfsToMonitor" },
                   { "group", "intfsToMonitor", 1, {}, {}, "2" },
                   { "group", "intfsToMonitor", 3, port( "e2" ), {}, "true" },
                   { "group", "intfsToMonitor", 3, port( "e3" ), {}, "false" },
                   { "group", "intfsToMonitor", 129, port( "e1" ), {}, "true" },
                   { "group", "intfsToMonitor", 129, port( "e1" ), {}, "false" },
                   { "group", "intfsToMonitor", 1, {}, {}, "1" },
                   { "group", "intfsToMonitor", 130, {}, {}, "opNotSupported 130: intfsToMonitor" },
                   { "group", "intfsToDisable", 1, {}, {}, "1" } } );
   auto const group = world.of( "group" );
   auto const version = done( *group, "intfsToMonitor", 2 );
   world.group->intfsToMonitorIs( intf( "e9" ), true );
   EXPECT_NE( version, done( *group, "intfsToMonitor", 2 ) );
}

TEST( GenericIf, CollectionsOfEntities ) {
   ReflectedWorld const world;
   check( world,
          { { "config", "group", 0, text( "g" ), {}, "GroupConfig" },
            { "config", "group", 0, text( "h" ), {}, "null" },
            { "config", "group", 3, text( "h" ), {}, "false" },
            { "config", "group", 128, text( "h" ), listOf( { { "name", text( "h" ) } } ),
              "badIndex: group" },
            { "config", "group", 128, {}, {}, "type: Zet::GenericIf::List_" },
            { "config", "group", 128, {}, text( "h" ), "type: List" },
            { "config", "group", 128, {}, listOf( { { "name", number( 1 ) } } ), "type: name" },
            { "config", "group", 128, {}, listOf( { { "nome", text( "h" ) } } ), "type: name" },
            { "config",
              "group",
              128,
              {},
              listOf( { { "name", text( "h" ) }, { "more", text( "x" ) } } ),
              "unknownArgument: group" },
            { "config", "group", 1, {}, {}, "1" },
            { "config", "group", 128, {}, listOf( { { "name", text( "h" ) } } ), "GroupConfig" },
            { "config", "group", 1, {}, {}, "2" },
            { "status", "group", 3, text( "h" ), {}, "true" },
            { "config", "group", 129, text( "h" ), {}, "GroupConfig" },
            { "config", "group", 129, text( "h" ), {}, "null" },
            { "status", "group", 3, text( "h" ), {}, "false" } } );
}

TEST( GenericIf, MachinesTheirReferencesAndFunctions ) {
   ReflectedWorld const world;
   auto const machineOf = [ & ]( char const* directory ) {
      return listOf( { { "groupConfig", world.of( "group" ) },
                       { "groupStatus", world.of( "groupStatus" ) },
                       { "ethIntfStatusDir", world.of( directory ) },
                       { "causeStatus", world.of( "cause" ) } } );
   };
   auto const none = listOf( {} );
   check( world,
          { { "intfSm", "ethIntfStatus", 0, {}, {}, "EthIntfStatus" },
            { "intfSm", "intfId", 0, {}, {}, "e1" },
            { "intfSm", "intfId", 128, {}, port( "e2" ), "opNotSupported 128: intfId" },
            { "intfSm", "groupSm", 0, {}, {}, "UplinkFailureDetectionGroupSm" },
            { "groupSm", "name", 0, {}, {}, "'g'" },
            { "groupSm", "causeStatus", 0, {}, {}, "CauseStatus" },
            { "sm",
              "uplinkFailureDetectionGroupSm",
              0,
              text( "g" ),
              {},
              "UplinkFailureDetectionGroupSm" },
            { "groupSm", "uplinkFailureDetectionIntfSm", 1, {}, {}, "1" },
            { "groupSm", "uplinkFailureDetectionIntfSm", 3, port( "e2" ), {}, "false" },
            { "groupSm",
              "uplinkFailureDetectionIntfSm",
              128,
              {},
              listOf(
                  { { "ethIntfStatus", world.of( "e2" ) }, { "groupSm", world.of( "groupSm" ) } } ),
              "UplinkFailureDetectionIntfSm" },
            { "groupSm", "uplinkFailureDetectionIntfSm", 3, port( "e2" ), {}, "true" },
            { "groupSm",
              "uplinkFailureDetectionIntfSm",
              129,
              port( "e2" ),
              {},
              "UplinkFailureDetectionIntfSm" },
            { "sm",
              "uplinkFailureDetectionGroupSm",
              128,
              {},
              machineOf( "dir" ),
              "UplinkFailureDetectionGroupSm" },
            { "sm",
              "uplinkFailureDetectionGroupSm",
              128,
              {},
              machineOf( "cause" ),
              "type: ethIntfStatusDir" },
            { "groupSm", "doCheckIntfs", 0, {}, {}, "type: Zet::GenericIf::List_" },
            { "groupSm", "doCheckIntfs", 0, number( 1 ), {}, "type: List" },
            { "groupSm", "doCheckIntfs", 128, none, {}, "opNotSupported 128: doCheckIntfs" },
            { "intfSm",
              "handleIntfStatus",
              0,
              listOf( { { "x", flag( true ) } } ),
              {},
              "unknownArgument: handleIntfStatus" },
            { "groupSm", "handleIntf", 0, none, {}, "type: intfId" },
            { "sm",
              "handleGroup",
              0,
              listOf( { { "groupName", number( 1 ) } } ),
              {},
              "type: groupName" },
            { "root", "uplinkFailureDetectionSm", 0, {}, {}, "UplinkFailureDetectionSm" } } );

   // Functions are called: a cleaned up group holds nothing, a checked one holds again.
   world.group->minLinksIs( 2 );
   EXPECT_TRUE( world.cause->intfStatus( intf( "d1" ) ) );
   EXPECT_EQ( "null", done( *world.of( "groupSm" ), "doCleanup", 0, none ) );
   EXPECT_FALSE( world.cause->intfStatus( intf( "d1" ) ) );
   EXPECT_EQ( "null", done( *world.of( "groupSm" ), "handleAndCheckIntf", 0,
                            listOf( { { "intfId", port( "e1" ) } } ) ) );
   EXPECT_TRUE( world.cause->intfStatus( intf( "d1" ) ) );

   // The name in use reaches the caller.
   auto const otherDir = Interface::EthIntfStatusDir::EthIntfStatusDirIs( "other" );
   auto const arguments = listOf(
       { { "groupConfig", world.of( "group" ) },
         { "groupStatus", world.of( "groupStatus" ) },
         { "ethIntfStatusDir",
           otherDir->fwkType()->genericIf( Zet::Ptr< Zet::PtrInterface >( otherDir ), false ) },
         { "causeStatus", world.of( "cause" ) } } );
   EXPECT_EQ( 0u, done( *world.of( "sm" ), "uplinkFailureDetectionGroupSm", 128, {}, arguments )
                      .find( "48: Reinstantiating" ) );
}

TEST( GenericIf, RootMakesReplacesAndDropsItsMachine ) {
   ReflectedWorld const world;
   auto const root = world.of( "root" );
   auto const arguments = listOf( { { "config", world.of( "config", true ) },
                                    { "status", world.of( "status" ) },
                                    { "causeStatus", world.of( "cause" ) },
                                    { "ethIntfStatusDir", world.of( "dir", true ) } } );
   EXPECT_EQ( "UplinkFailureDetectionSm", done( *root, "uplinkFailureDetectionSm", 129 ) );
   EXPECT_EQ( "null", done( *root, "uplinkFailureDetectionSm", 0 ) );
   EXPECT_EQ( "UplinkFailureDetectionSm",
              done( *root, "uplinkFailureDetectionSm", 128, {}, arguments ) );
   EXPECT_TRUE( world.root->uplinkFailureDetectionSm() );
}

TEST( GenericIf, ConstantInterfacesChangeNothing ) {
   ReflectedWorld const world;
   std::string const refused = "const: attempting to modify a const instance";
   auto const group = world.of( "group", true );
   EXPECT_EQ( "1", done( *group, "minLinks", 0 ) );
   EXPECT_EQ( refused, done( *group, "minLinks", 128, {}, number( 7 ) ) );
   EXPECT_EQ( refused, done( *group, "minLinksDefault", 200 ) );
   EXPECT_EQ( refused, done( *group, "intfsToMonitor", 129, port( "e1" ) ) );
   EXPECT_EQ( refused, done( *group, "isNondestructing", 128, {}, flag( true ) ) );
   EXPECT_EQ( 1u, world.group->minLinks() );
   EXPECT_TRUE( world.group->intfsToMonitor( intf( "e1" ) ) );

   // What is reached through one is constant as well, and so is what a machine may only read.
   auto const config = world.of( "config", true );
   auto const member =
       config->attributeOp( { config->attributeId( "group" ), 0 }, text( "g" ), {} );
   EXPECT_EQ( refused, done( *member, "minLinks", 128, {}, number( 7 ) ) );
   auto const machine = world.of( "groupSm" );
   auto const read = machine->attributeOp( { machine->attributeId( "groupConfig" ), 0 }, {}, {} );
   EXPECT_EQ( refused, done( *read, "minLinks", 128, {}, number( 7 ) ) );
   // A constant interface does not pass for an argument that is written to.
   auto const arguments = listOf( { { "config", world.of( "config" ) },
                                    { "status", world.of( "status", true ) },
                                    { "causeStatus", world.of( "cause" ) },
                                    { "ethIntfStatusDir", world.of( "dir" ) } } );
   EXPECT_EQ( refused,
              done( *world.of( "root" ), "uplinkFailureDetectionSm", 128, {}, arguments ) );
}

TEST( GenericIf, ObjectsAreHandedOutAsTheirTypeOrABase ) {
   ReflectedWorld const world;
   auto const group = world.of( "group" );
   EXPECT_EQ( world.group, group->zetObject( *Ufd::GroupConfig::_fwkType() ) );
   EXPECT_EQ( world.group, group->zetObject( *Zet::Entity::_fwkType() ) );
   EXPECT_EQ( world.group, group->zetObject( *Zet::PtrInterface::_fwkType() ) );
   try {
      group->zetObject( *Ufd::Config::_fwkType() );
      FAIL();
   } catch ( Zet::GenericIfException const& failure ) {
      EXPECT_STREQ( "GroupConfig", failure.what() );
      EXPECT_EQ( Zet::GenericIfException::type, failure.kind() );
   }
}

TEST( GenericIf, CollectionsAreWalked ) {
   ReflectedWorld const world;
   for ( char const* name : { "e2", "e3", "e4" } )
      world.group->intfsToMonitorIs( intf( name ), false );
   auto const group = world.of( "group" );
   auto const id = group->attributeId( "intfsToMonitor" );
   Log walked;
   auto const at = group->attributeIteratorConst( id );
   auto const second = group->attributeIterator_iterClone( id, *at );
   group->attributeIterator_iterInc( id, *second );
   for ( ; group->attributeIterator_nonNull( id, *at );
         group->attributeIterator_iterInc( id, *at ) )
      walked.push_back( group->attributeIterator_iterKey( id, *at )->strRep().c_str() );
   EXPECT_EQ( keysOf( world.group->intfsToMonitorMembers() ), walked );

   EXPECT_EQ( walked[ 1 ], group->attributeIterator_iterKey( id, *second )->strRep().c_str() );
   group->attributeIterator_iterDel( id, *second );
   EXPECT_EQ( 3u, world.group->intfsToMonitorMembers().count() );
   group->attributeIterator_iterInc( id, *second );
   EXPECT_EQ( walked[ 2 ], group->attributeIterator_iterKey( id, *second )->strRep().c_str() );

   auto const from = group->attributeIteratorKeyConst( id, port( walked[ 3 ].c_str() ) );
   EXPECT_EQ( walked[ 3 ] == "e1" ? "true" : "false",
              std::string( group->attributeIterator_iterObj( id, *from )->strRep().c_str() ) );
   // Not a collection; a place in another collection.
   EXPECT_THROW( group->attributeIteratorConst( group->attributeId( "minLinks" ) ),
                 Zet::GenericIfException );
   EXPECT_THROW( group->attributeIterator_iterKey( group->attributeId( "intfsToDisable" ), *from ),
                 Zet::GenericIfException );
}

TEST( GenericIf, OperationsOnPlainValuesAllocateNothing ) {
   ReflectedWorld const world;
   auto const group = world.of( "group" );
   auto const status = world.of( "groupStatus" );
   auto const minLinks = group->attributeId( "minLinks" );
   auto const linkStatus = status->attributeId( "groupLinkStatus" );
   auto const up = status->attributeOp( { linkStatus, 0 }, {}, {} );
   // Down from here on, so that the machine has no entry to make.
   world.group->minLinksIs( 9 );
   auto const operate = [ & ]( unsigned int from ) {
      for ( unsigned int value = from; value < from + 10; ++value ) {
         group->attributeOp( { minLinks, 128 }, {}, Zet::valueIf( value ) );
         group->attributeOp( { minLinks, 0 }, {}, {} );
         group->attributeOp( { Zet::isNondestructingAttributeId, 0 }, {}, {} );
         status->attributeOp( { linkStatus, 128 }, {}, up );
         status->attributeOp( { linkStatus, 0 }, {}, {} );
      }
   };
   // Makes the values that are used again from then on.
   operate( 10 );
   EXPECT_EQ( 0u, allocationsOf( [ & ] { operate( 20 ); } ) );
}

} // namespace Tests
