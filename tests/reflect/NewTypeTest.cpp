#include "adapters/reflect/HostTypes.h"
#include "tests/reflect/ReflectedWorld.h"
#include "tests/support/Gauge.h"
#include "tests/support/Observer.h"

#include <gtest/gtest.h>

namespace Tests {

// Says whether it is ready, and counts the name spaces that it is told of.
class LateReactor final : public Zet::IntrospectionReactor {
 public:
   bool isReady() const override { return ready; }
   void handleNameSpace( char const* name ) override {
      IntrospectionReactor::handleNameSpace( name );
      ++told;
   }
   bool ready = false;
   int told = 0;
};

TEST( NewType, IsRegisteredOnceByItsRows ) {
   auto const reactor = Zet::make< LateReactor >();
   Zet::IntrospectionReactor::globalIs( reactor );
   auto const registration = Reflect::registerHostTypes< Colour, Gauge >;
   registration( "Tests" );
   EXPECT_EQ( 0, reactor->told );
   reactor->ready = true;
   registration( "Tests" );
   registration( "Tests" );
   EXPECT_EQ( 1, reactor->told );
   Zet::IntrospectionReactor::globalIs( nullptr );

   auto const gauge = Zet::make< Gauge >( "g" );
   auto const reflected = gauge->fwkType()->genericIf( gauge, false );
   EXPECT_EQ( "null", done( *reflected, "level 128 %e1 3" ) );
   EXPECT_EQ( "3", done( *reflected, "level 129 %e1" ) );
   EXPECT_EQ( "Part", done( *reflected, "part 128 - (name:'p')" ) );
   EXPECT_EQ( "null", done( *reflected, "reset 0 (value:1.0)" ) );
   EXPECT_EQ( 1.0, gauge->value() );
   EXPECT_EQ( "null", done( *reflected, "colour 128 - 'blue'" ) );
   EXPECT_EQ( "'blue'", done( *reflected, "colour 0" ) );
   EXPECT_TRUE( gauge->attributeString( 268 ).view().starts_with( "unknown" ) );

   auto const& types = reactor->nameSpaces().front().types;
   ASSERT_EQ( 2u, types.size() );
   Log announced;
   for ( auto const& one : types.back()->attributes() )
      announced.push_back( std::to_string( one->id() ) + " " + one->name().c_str() + ": " +
                           ( one->keyType() ? one->keyType()->name() + " to " : "" ).c_str() +
                           one->valueType()->name().c_str() );
   EXPECT_EQ(
       ( Log{ "6 isNondestructing: Builtin<bool>", "154 zetHasAttrLogInterface: Builtin<bool>",
              "258 value: Builtin<double>", "259 most: Builtin<unsigned int>", "260 title: Name",
              "261 isOpen: Builtin<bool>", "262 link: GroupLinkStatus", "267 colour: Colour",
              "263 level: IntfId to Builtin<unsigned int>", "264 part: Name to Part",
              "265 isFull: Builtin<bool>", "266 reset: Builtin<void*>" } ),
       announced );
   EXPECT_EQ( "name", types.back()->attr( "part" )->indexAttr() );
   EXPECT_EQ( "value", types.back()->attr( "reset" )->arguments().front().name );
}

} // namespace Tests
