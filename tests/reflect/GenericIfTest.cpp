#include "platform/zet/generic/ValueIf.h"
#include "tests/reflect/ReflectedWorld.h"
#include "tests/support/Allocations.h"
#include "tests/support/Entities.h"

#include <gtest/gtest.h>

namespace Tests {

TEST( GenericIf, ValuesAreReadAndSet ) {
   play( ReflectedWorld(), R"(
group.minLinks 0 = 1
group.minLinks 128 - 4294967295 = null
group.minLinks 0 = 4294967295
group.minLinks 0 'k' = badIndex: minLinks
group.minLinks 128 'k' 1 = badIndex: minLinks
group.minLinks 128 - true = type: minLinks
group.minLinks 128 = type: minLinks
group.minLinks 1 = opNotSupported 1: minLinks
group.minLinks 129 = opNotSupported 129: minLinks
group.minLinks 0 = 4294967295
group.minLinksDefault 0 = 1
group.minLinksDefault 128 - 2 = opNotSupported 128: minLinksDefault
group.isNondestructing 0 = false
group.isNondestructing 128 - 1 = type: isNondestructing
groupStatus.groupLinkStatus 0 = 'down'
groupStatus.groupLinkStatus 128 - 'up' = null
groupStatus.groupLinkStatus 0 = 'up'
groupStatus.groupLinkStatus 128 - 0 = null
groupStatus.groupLinkStatus 0 = 'unknown'
groupStatus.groupLinkStatus 128 - 'Up' = 12: GroupLinkStatus
groupStatus.groupLinkStatus 128 - true = type: groupLinkStatus
groupStatus.prevDisabledTime 128 - 2.5 = null
groupStatus.prevDisabledTime 0 = 2.5
groupSm.initialized 0 = true
groupSm.initialized 128 - false = null
groupSm.initialized 0 = false
groupSm.initialized 128 - 0 = type: initialized
group.noSuch 0 = unknownAttribute: noSuch
)" );
}

TEST( GenericIf, EachTypeAnswersForTheFrameworksAttributesInItsTable ) {
   play( ReflectedWorld(), R"(
group.fwkKey 0 = 'g'
groupSm.fwkKey 0 = 'g'
intfSm.fwkKey 0 = e1
intfSm.fwkKey 128 - %e2 = opNotSupported 128: fwkKey
config.fwkKey 0 = unknownAttribute: fwkKey
config.0 0 = unknownAttribute: Config
root.0 0 = unknownAttribute: Root
sm.0 0 = unknownAttribute: UplinkFailureDetectionSm
config.zetHasAttrLogInterface 0 () = true
config.zetHasAttrLogInterface 0 = type: Zet::GenericIf::List_
config.zetHasAttrLogInterface 0 1 = type: List
config.zetHasAttrLogInterface 0 (x:1) = unknownArgument: zetHasAttrLogInterface
root.zetHasAttrLogInterface 0 () = unknownAttribute: zetHasAttrLogInterface
root.154 0 () = unknownAttribute: Root
root.isNondestructing 0 = false
group.5 0 = unknownAttribute: GroupConfig
group.isNondestructing 0 'k' = badIndex: isNondestructing
)" );
   EXPECT_EQ( "fwkKey", ReflectedWorld().of( "intfSm" )->attributeString( 0 ) );
   EXPECT_TRUE(
       ReflectedWorld().of( "root" )->attributeString( 154 ).view().starts_with( "unknown" ) );
}

TEST( GenericIf, EnumeratorsAreTheAttributesOfAnEnumeration ) {
   ReflectedWorld const world;
   for ( bool const isConst : { false, true } ) {
      auto const status = world.of( isConst ? "groupStatus!" : "groupStatus" );
      auto const down = status->attributeOp( { 258, Zet::GenericIf::get }, {}, {} );
      EXPECT_EQ( "'up'", done( *down, "up 0" ) );
      for ( char const* const unknown : { "0 0", "unknown 0" } )
         EXPECT_EQ( "'unknown'", done( *down, unknown ) );
      EXPECT_EQ( "down", down->attributeString( 2 ) );
      EXPECT_EQ( "unknownAttribute: GroupLinkStatus", done( *down, "3 0" ) );
      EXPECT_EQ( "unknownAttribute: Up", done( *down, "Up 0" ) );
      EXPECT_EQ( "badIndex: up", done( *down, "up 0 'k'" ) );
      EXPECT_EQ( "opNotSupported 1: up", done( *down, "up 1" ) );
      EXPECT_EQ( isConst ? "const: attempting to modify a const instance"
                         : "opNotSupported 128: up",
                 done( *down, "up 128" ) );
   }
}

TEST( GenericIf, CollectionsOfValues ) {
   ReflectedWorld const world;
   play( world, R"(
group.intfsToMonitor 0 %e1 = true
group.intfsToMonitor 0 %e2 = false
group.intfsToMonitor 0 = type: intfsToMonitor
group.intfsToMonitor 0 'e1' = type: intfsToMonitor
group.intfsToMonitor 1 = 1
group.intfsToMonitor 128 %e2 false = null
group.intfsToMonitor 128 %e3 = type: intfsToMonitor
group.intfsToMonitor 1 = 2
group.intfsToMonitor 3 %e2 = true
group.intfsToMonitor 3 %e3 = false
group.intfsToMonitor 129 %e1 = true
group.intfsToMonitor 129 %e1 = false
group.intfsToMonitor 1 = 1
group.intfsToMonitor 130 = opNotSupported 130: intfsToMonitor
group.intfsToDisable 1 = 1
)" );
   auto const group = world.of( "group" );
   auto const version = done( *group, "intfsToMonitor 2" );
   world.group->intfsToMonitorIs( intf( "e9" ), true );
   EXPECT_NE( version, done( *group, "intfsToMonitor 2" ) );
}

TEST( GenericIf, CollectionsOfEntities ) {
   play( ReflectedWorld(), R"(
config.group 0 'g' = GroupConfig
config.group 0 'h' = null
config.group 3 'h' = false
config.group 128 'h' (name:'h') = badIndex: group
config.group 128 = type: Zet::GenericIf::List_
config.group 128 - 'h' = type: List
config.group 128 - (name:1) = type: name
config.group 128 - (nome:'h') = type: name
config.group 128 - (name:'h',more:'x') = unknownArgument: group
config.group 1 = 1
config.group 128 - (name:'h') = GroupConfig
config.group 1 = 2
status.group 3 'h' = true
config.group 129 'h' = GroupConfig
config.group 129 'h' = null
status.group 3 'h' = false
)" );
}

TEST( GenericIf, MachinesTheirReferencesAndFunctions ) {
   ReflectedWorld const world;
   std::string const groupSmOf =
       "uplinkFailureDetectionGroupSm 128 - (groupConfig:@group,groupStatus:@groupStatus,"
       "causeStatus:@cause,ethIntfStatusDir:";
   play( world, R"(
intfSm.ethIntfStatus 0 = EthIntfStatus
intfSm.intfId 0 = e1
intfSm.intfId 128 - %e2 = opNotSupported 128: intfId
intfSm.groupSm 0 = UplinkFailureDetectionGroupSm
groupSm.name 0 = 'g'
groupSm.causeStatus 0 = CauseStatus
sm.uplinkFailureDetectionGroupSm 0 'g' = UplinkFailureDetectionGroupSm
groupSm.uplinkFailureDetectionIntfSm 1 = 1
groupSm.uplinkFailureDetectionIntfSm 3 %e2 = false
groupSm.uplinkFailureDetectionIntfSm 128 - (ethIntfStatus:@e2,groupSm:@groupSm) = )"
                "UplinkFailureDetectionIntfSm"
                R"(
groupSm.uplinkFailureDetectionIntfSm 3 %e2 = true
groupSm.uplinkFailureDetectionIntfSm 129 %e2 = UplinkFailureDetectionIntfSm
groupSm.doCheckIntfs 128 () = opNotSupported 128: doCheckIntfs
groupSm.handleIntf 0 () = type: intfId
sm.handleGroup 0 (groupName:1) = type: groupName
root.uplinkFailureDetectionSm 0 = UplinkFailureDetectionSm
)" );
   auto const sm = world.of( "sm" );
   EXPECT_EQ( "UplinkFailureDetectionGroupSm", done( *sm, groupSmOf + "@dir)", &world ) );
   EXPECT_EQ( "type: ethIntfStatusDir", done( *sm, groupSmOf + "@cause)", &world ) );
   // The name in use reaches the caller.
   EXPECT_EQ( 0u, done( *sm, groupSmOf + "@otherDir)", &world ).find( "48: Reinstantiating" ) );

   // Functions are called: a cleaned up group holds nothing, a checked one holds again.
   world.group->minLinksIs( 2 );
   EXPECT_TRUE( world.cause->intfStatus( intf( "d1" ) ) );
   play( world, "groupSm.doCleanup 0 () = null" );
   EXPECT_FALSE( world.cause->intfStatus( intf( "d1" ) ) );
   play( world, "groupSm.handleAndCheckIntf 0 (intfId:%e1) = null" );
   EXPECT_TRUE( world.cause->intfStatus( intf( "d1" ) ) );
}

TEST( GenericIf, AChildThatOutlivesItsGroupMachineNamesNone ) {
   ReflectedWorld const world;
   auto const intfSm = world.of( "intfSm" );
   EXPECT_EQ( "UplinkFailureDetectionGroupSm", done( *intfSm, "groupSm 0" ) );
   world.config->groupDel( "g" );
   EXPECT_EQ( "null", done( *intfSm, "groupSm 0" ) );
   EXPECT_EQ( "null", done( *intfSm, "handleIntfStatus 0 ()" ) );
}

TEST( GenericIf, RootMakesReplacesAndDropsItsMachine ) {
   ReflectedWorld const world;
   play( world, "root.uplinkFailureDetectionSm 129 'k' = badIndex: uplinkFailureDetectionSm\n"
                "root.uplinkFailureDetectionSm 129 = UplinkFailureDetectionSm\n"
                "root.uplinkFailureDetectionSm 0 = null\n"
                "root.uplinkFailureDetectionSm 128 'k' () = badIndex: uplinkFailureDetectionSm\n"
                "root.uplinkFailureDetectionSm 128 - (a:1,b:1,c:1,d:1,e:1) = unknownArgument: "
                "uplinkFailureDetectionSm\n"
                "root.uplinkFailureDetectionSm 128 - () = type: config\n"
                "root.uplinkFailureDetectionSm 128 - (config:@config!,status:@status,"
                "causeStatus:@cause,ethIntfStatusDir:@dir!) = UplinkFailureDetectionSm" );
   EXPECT_TRUE( world.root->uplinkFailureDetectionSm() );
}

TEST( GenericIf, EntitiesAreMadeByTheirTypeFromAnArgumentList ) {
   auto const made = []( std::string const& type, std::string const& arguments ) {
      auto const descriptor = Zet::ZetType::typeNode( "UplinkFailureDetection::" + type );
      std::string text;
      std::string const failure = failureOf( [ & ] {
         auto const entity = Zet::ptrCast< Zet::Entity >(
             descriptor->newGenericIf( valueOf( arguments ) )->zetObject( *descriptor ) );
         text = std::string( entity->fullName().c_str() ) + " alone " +
                std::to_string( entity->references() );
      } );
      return text + failure;
   };
   for ( char const* const type : { "Root", "Config", "Status", "GroupConfig", "GroupStatus" } )
      EXPECT_EQ( "/new alone 1", made( type, "(name:'new')" ) );
   EXPECT_EQ( "type: Zet::GenericIf::List_", made( "Root", "-" ) );
   EXPECT_EQ( "type: List", made( "Root", "'new'" ) );
   EXPECT_EQ( "type: name", made( "Root", "(nome:'new')" ) );
   EXPECT_EQ( "unknownArgument: Root", made( "Root", "(name:'new',more:'new')" ) );
   EXPECT_EQ( "opNotSupported 128: UplinkFailureDetectionSm",
              made( "UplinkFailureDetectionSm", "(name:'new')" ) );
}

TEST( GenericIf, ConstantInterfacesChangeNothing ) {
   ReflectedWorld const world;
   std::string const refused = "const: attempting to modify a const instance";
   for ( std::string const words :
         { "group!.minLinks 128 - 7", "group!.minLinksDefault 200", "group!.intfsToMonitor 129 %e1",
           "group!.isNondestructing 128 - true",
           // A constant interface does not pass for an argument that is written to.
           "root.uplinkFailureDetectionSm 128 - (config:@config,status:@status!,"
           "causeStatus:@cause,ethIntfStatusDir:@dir)" } )
      play( world, words + " = " + refused );
   play( world, "group!.minLinks 0 = 1\ngroup.intfsToMonitor 0 %e1 = true" );

   // What is reached through one is constant as well, and so is what a machine may only read.
   auto const config = world.of( "config!" );
   auto const member = config->attributeOp( { config->attributeId( "group" ), 0 },
                                            Zet::valueIf( Zet::Name( "g" ) ), {} );
   EXPECT_EQ( refused, done( *member, "minLinks 128 - 7" ) );
   auto const machine = world.of( "groupSm" );
   auto const read = machine->attributeOp( { machine->attributeId( "groupConfig" ), 0 }, {}, {} );
   EXPECT_EQ( refused, done( *read, "minLinks 128 - 7" ) );
}

TEST( GenericIf, ObjectsAreHandedOutAsTheirTypeOrABase ) {
   ReflectedWorld const world;
   auto const group = world.of( "group" );
   EXPECT_EQ( world.group, group->zetObject( *Ufd::GroupConfig::_fwkType() ) );
   EXPECT_EQ( world.group, group->zetObject( *Zet::Entity::_fwkType() ) );
   EXPECT_EQ( world.group, group->zetObject( *Zet::PtrInterface::_fwkType() ) );
   EXPECT_EQ( "type: GroupConfig",
              failureOf( [ & ] { group->zetObject( *Ufd::Config::_fwkType() ); } ) );
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

   auto const from =
       group->attributeIteratorKeyConst( id, Zet::valueIf( intf( walked[ 3 ].c_str() ) ) );
   auto const config = world.of( "config" );
   EXPECT_EQ( world.group,
              config->attributeIterator_iterObj( 258, *config->attributeIteratorConst( 258 ) )
                  ->zetObject( *Ufd::GroupConfig::_fwkType() ) );
   EXPECT_EQ( walked[ 3 ] == "e1" ? "true" : "false",
              std::string( group->attributeIterator_iterObj( id, *from )->strRep().c_str() ) );
}

TEST( GenericIf, PlacesHoldTheirObjectAndAreUsedWithNoOther ) {
   constexpr Zet::AttributeId monitored = 258;
   std::string const badIndex = "badIndex: intfsToMonitor";
   ReflectedWorld const world;
   auto const group = world.of( "group" );
   EXPECT_EQ( "opNotSupported: minLinks",
              failureOf( [ & ] { group->attributeIteratorConst( 260 ); } ) );
   auto const end = group->attributeIteratorConst( monitored );
   group->attributeIterator_iterInc( monitored, *end );
   EXPECT_FALSE( group->attributeIterator_nonNull( monitored, *end ) );
   auto const foreign = ReflectedWorld().of( "group" )->attributeIteratorConst( monitored );
   auto const disabled = group->attributeIteratorConst( 259 );
   for ( auto const& at : { end, foreign, disabled } ) {
      EXPECT_EQ( badIndex, failureOf( [ & ] { group->attributeIterator_iterObj( 258, *at ); } ) );
      EXPECT_EQ( badIndex, failureOf( [ & ] { group->attributeIterator_iterKey( 258, *at ); } ) );
      EXPECT_EQ( badIndex, failureOf( [ & ] { group->attributeIterator_iterInc( 258, *at ); } ) );
      EXPECT_EQ( badIndex, failureOf( [ & ] { group->attributeIterator_iterDel( 258, *at ); } ) );
   }
   EXPECT_EQ( badIndex, failureOf( [ & ] { group->attributeIterator_nonNull( 258, *foreign ); } ) );

   EXPECT_EQ( "type: intfsToMonitor", failureOf( [ & ] {
                 group->attributeIteratorKeyConst( 258, Zet::valueIf( Zet::Name( "e1" ) ) );
              } ) );
   auto const begin = group->attributeIteratorConst( monitored );
   EXPECT_EQ( "const: attempting to modify a const instance", failureOf( [ & ] {
                 world.of( "group!" )->attributeIterator_iterDel( 258, *begin );
              } ) );
   EXPECT_TRUE( world.group->intfsToMonitor( intf( "e1" ) ) );

   // A member that has gone is not removed again, nor is one that took its key.
   auto const place = group->attributeIteratorConst( monitored );
   world.group->intfsToMonitorDel( intf( "e1" ) );
   world.group->intfsToMonitorIs( intf( "e1" ), false );
   group->attributeIterator_iterDel( monitored, *place );
   EXPECT_EQ( 1u, world.group->intfsToMonitorMembers().count() );

   auto const references = world.group->references();
   auto const holder = group->attributeIterator_iterClone( monitored, *place );
   EXPECT_EQ( references + 1, world.group->references() );
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
