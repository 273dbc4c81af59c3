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

TEST( NewType, IsRegisteredOnceWhenTheReactorIsReady ) {
   auto const listener = Zet::make< LateReactor >();
   Zet::IntrospectionReactor::globalIs( listener );
   bool registered = false;
   auto const registration = [ & ] {
      Reflect::Unit::registrationIs( registered, "Tests", { Gauge::_fwkType },
                                     { Reflect::announce< Gauge > } );
   };
   registration();
   EXPECT_FALSE( registered );
   EXPECT_EQ( 0, listener->told );
   EXPECT_EQ( "Gauge", Gauge::_fwkType()->name() );
   listener->ready = true;
   registration();
   EXPECT_TRUE( registered );
   registration();
   EXPECT_EQ( 1, listener->told );
   Zet::IntrospectionReactor::globalIs( nullptr );
}

TEST( NewType, IsReflectedAndAnnouncedByItsRows ) {
   auto const reactor = Zet::make< Zet::IntrospectionReactor >();
   reactor->handleNameSpace( "Tests" );
   Reflect::announce< Gauge >( *reactor );
   auto const gauge = Zet::make< Gauge >( "g" );
   auto const reflected = gauge->fwkType()->genericIf( gauge, false );
   EXPECT_EQ( "null", done( *reflected, "value 128 - 120.0" ) );
   EXPECT_EQ( "120", done( *reflected, "value 0" ) );
   EXPECT_EQ( "true", done( *reflected, "isFull 0" ) );
   EXPECT_EQ( "100", done( *reflected, "most 0" ) );
   EXPECT_EQ( "null", done( *reflected, "level 128 %e1 3" ) );
   EXPECT_EQ( "3", done( *reflected, "level 129 %e1" ) );
   EXPECT_EQ( "Part", done( *reflected, "part 128 - (name:'p')" ) );
   EXPECT_EQ( "null", done( *reflected, "reset 0 (value:1.0)" ) );
   EXPECT_EQ( 1.0, gauge->value() );
   EXPECT_EQ( "level", gauge->attributeString( 263 ) );
   EXPECT_TRUE( gauge->attributeString( 267 ).view().starts_with( "unknown" ) );

   auto const& types = reactor->nameSpaces().front().types;
   ASSERT_EQ( 1u, types.size() );
   Log announced;
   for ( auto const& attribute : types.front()->attributes() )
      announced.push_back( attribute->name().c_str() );
   EXPECT_EQ( ( Log{ "isNondestructing", "zetHasAttrLogInterface", "value", "most", "title",
                     "isOpen", "link", "level", "part", "isFull", "reset" } ),
              announced );
   EXPECT_EQ( "Kelnet::IntfId", types.front()->attr( "level" )->keyType()->fullName() );
   EXPECT_EQ( "Tests::Part", types.front()->attr( "part" )->valueType()->fullName() );
}

} // namespace Tests
