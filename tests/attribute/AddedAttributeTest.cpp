// Built in a copy of the tree in which GroupConfig has an attribute `upThreshold`: see added.sh.
#include "adapters/reflect/ModelGenericIf.h"
#include "agent/config/ConfigFile.h"
#include "platform/zet/generic/GenericIf.h"
#include "platform/zet/types/ZetAttr.h"
#include "tests/attrlog/Connection.h"

#include <gtest/gtest.h>

namespace Tests {

namespace {

TEST( AddedAttribute, isDescribedAsOthersOfItsKind ) {
   auto const type = Ufd::GroupConfig::_fwkType();
   auto const added = type->attr( "upThreshold" );
   auto const other = type->attr( "minLinks" );
   ASSERT_TRUE( added );
   EXPECT_EQ( added->id(), 262 );
   EXPECT_EQ( added->valueType()->fullName(), other->valueType()->fullName() );
   EXPECT_EQ( added->flags().word0, other->flags().word0 );
   EXPECT_EQ( added->flags().word1, other->flags().word1 );
   EXPECT_EQ( added->introspectionFlags().value(), other->introspectionFlags().value() );
}

TEST( AddedAttribute, isSetThroughTheConfigurationFile ) {
   auto const config =
       Ufdd::parseConfig( "[[group]]\nname = \"g\"\nmonitor = [ \"et1\" ]\ndisable = [ \"et2\" ]\n"
                          "up_threshold = 7\n",
                          "f" );
   ASSERT_EQ( config.errors, std::vector< std::string >() );
   EXPECT_EQ( config.groups.front().config->upThreshold(), 7u );
}

struct Hearing : Zet::GenericIf::Watcher {
   void onAttribute( Zet::AttributeId id ) override { heard.push_back( id ); }
   void onAttributeAt( Zet::AttributeId id, Zet::Ptr< Zet::GenericIf > const& ) override {
      heard.push_back( -id );
   }
   std::vector< Zet::AttributeId > heard;
};

TEST( AddedAttribute, isHeardByAWatcher ) {
   auto const group = Ufd::GroupConfig::GroupConfigIs( "g" );
   auto const reflected = group->fwkType()->genericIf( group, false );
   Hearing watcher;
   reflected->watcherIs( watcher );
   group->upThresholdIs( 7 );
   group->upThresholdIs( 7 );
   reflected->watcherDel( watcher );
   EXPECT_EQ( watcher.heard, std::vector< Zet::AttributeId >{ 262 } );
   EXPECT_EQ( reflected->attributeOp( { 262, Zet::GenericIf::get }, nullptr, nullptr )->strRep(),
              "7" );
}

TEST( AddedAttribute, isReplicatedAtFirstAndOnChange ) {
   auto const source = Ufd::configFactory( "c" );
   auto const group = source->groupIs( "g" );
   group->upThresholdIs( 7 );
   Connection< Ufd::Config > connection( source, 0u );
   auto const& replica = *connection.reader.root;
   EXPECT_EQ( stateOf( replica ), "g { } { } 1 7\n" );
   group->upThresholdIs( 9 );
   connection.moveAll();
   EXPECT_EQ( stateOf( replica ), "g { } { } 1 9\n" );
}

} // namespace

} // namespace Tests
