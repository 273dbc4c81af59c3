#include "platform/zet/Trace.h"
#include "platform/zet/types/IntrospectionReactor.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>

// Each of these loads the library for the first time, so each wants a process of its own; ctest
// gives it one.
namespace {

// Writes down what it is told.
class RecordingReactor : public Zet::IntrospectionReactor {
 public:
   explicit RecordingReactor( bool isReady ) : isReady_( isReady ) {}

   std::string text() const { return text_.str(); }

   bool isReady() const override { return isReady_; }
   void handleNameSpace( char const* name ) override {
      IntrospectionReactor::handleNameSpace( name );
      line() << "nameSpace " << name << '\n';
      ++depth_;
   }
   void handleType( Zet::Ptr< Zet::ZetType const > const& type,
                    Zet::Ptr< Zet::ZetType const > const& base ) override {
      IntrospectionReactor::handleType( type, base );
      line() << "type " << type->name() << " base " << nameOf( base ) << '\n';
      open_ = type;
      ++depth_;
   }
   void defNoninstantiatingAttr( Zet::ZetType& type, Zet::Name name,
                                 Zet::Ptr< Zet::ZetType const > const& valueType,
                                 Zet::Ptr< Zet::ZetType const > const& keyType,
                                 Zet::ZetAttr::AttrFlags const& flags,
                                 Zet::ZetAttr::ZetAttrIntrospectionFlags introspection,
                                 Zet::AttributeId id ) override {
      IntrospectionReactor::defNoninstantiatingAttr( type, name, valueType, keyType, flags,
                                                     introspection, id );
      attribute( "def", *type.attr( name ) );
   }
   void handleAttr( Zet::Ptr< Zet::ZetAttr > const& announced ) override {
      attribute( "attr", *announced );
      ++depth_;
      for ( Zet::Argument const& argument : announced->arguments() )
         line() << "argument " << argument.name << ": " << argument.type << '\n';
      if ( !announced->indexAttr().empty() )
         line() << "keyed by " << announced->indexAttr() << '\n';
   }
   void handleAttrContextExit() override {
      --depth_;
      line() << "context exit\n";
   }
   void handleScopeExit() override {
      --depth_;
      if ( auto const type = std::exchange( open_, nullptr ) )
         line() << "scope exit" << ( type->isEntity() ? " entity" : "" )
                << ( type->isValue() ? " value" : "" ) << ( type->isEnumType() ? " enum" : "" )
                << ( type->hasGenericIfSupport() ? " genericIf" : "" )
                << ( type->instanceSize() != 0 ? " sized" : "" ) << constructor( *type ) << '\n';
      else
         line() << "scope exit\n";
   }

 private:
   std::ostream& line() { return text_ << std::string( 2 * depth_, ' ' ); }
   static std::string nameOf( Zet::Ptr< Zet::ZetType const > const& type ) {
      return type ? type->fullName().c_str() : "none";
   }
   static std::string constructor( Zet::ZetType const& type ) {
      std::string text;
      for ( Zet::Argument const& argument : type.constructorArguments() )
         text += std::string( text.empty() ? " (" : ", " ) + argument.name.c_str() + ": " +
                 argument.type.c_str();
      return text.empty() ? text : text + ")";
   }
   void attribute( char const* how, Zet::ZetAttr const& one ) {
      line() << how << ' ' << one.id() << ' ' << one.name() << ' ' << nameOf( one.valueType() )
             << " key " << nameOf( one.keyType() ) << ' ' << std::hex << std::setfill( '0' )
             << std::setw( 8 ) << one.flags().word0 << '/' << std::setw( 8 ) << one.flags().word1
             << std::dec << ' ' << one.introspectionFlags().value() << '\n';
   }

   bool isReady_;
   std::ostringstream text_;
   unsigned int depth_ = 0;
   Zet::Ptr< Zet::ZetType const > open_;
};

Zet::Ptr< RecordingReactor >
loadedUnder( bool isReady ) {
   auto const reactor = Zet::make< RecordingReactor >( isReady );
   Zet::IntrospectionReactor::globalIs( reactor );
   EXPECT_NE( nullptr, dlopen( LIBRARY_FILE, RTLD_NOW ) ) << dlerror();
   return reactor;
}

// Made before the library is loaded, so it goes after everything that loading makes.
struct Last {
   ~Last() {
      if ( traces )
         std::cerr << ( Zet::TraceHandle( "atExit" ).isOn( 0 ) ? "on" : "off" );
   }
   bool traces = false;
} last;

} // namespace

TEST( Load, TracesCanBeMadeUntilTheProcessEnds ) {
   auto const end = [] {
      loadedUnder( false );
      Zet::TraceHandle::levelIs( "atExit", 0, true );
      last.traces = true;
      std::exit( 0 );
   };
   EXPECT_EXIT( end(), testing::ExitedWithCode( 0 ), "on$" );
}

TEST( Load, AnnouncesTheModelThenTheMachinesOnce ) {
   auto const reactor = loadedUnder( true );
   std::string const told = reactor->text();
   std::ifstream file( ANNOUNCEMENTS_FILE );
   EXPECT_EQ( std::string( std::istreambuf_iterator( file ), {} ), told );
   dlopen( LIBRARY_FILE, RTLD_NOW );
   EXPECT_EQ( told.size(), reactor->text().size() );
}

TEST( Load, ANotReadyReactorIsToldNothingAndTheTypesAreThere ) {
   auto const reactor = loadedUnder( false );
   EXPECT_EQ( "", reactor->text() );
   auto const type = Zet::ZetType::typeNode( "UplinkFailureDetection::GroupConfig" );
   ASSERT_TRUE( type );
   EXPECT_EQ( "Zet::Entity", type->base()->fullName() );
   EXPECT_TRUE( type->attributes().empty() );
   EXPECT_TRUE( type->isNondestructing() );
   EXPECT_TRUE( Zet::ZetType::typeNode( "UplinkFailureDetection::Root" ) );
}
