#include "adapters/reflect/Bridge.h"
#include "adapters/reflect/Unit.h"
#include "tests/reflect/ReflectedWorld.h"
#include "tests/support/Observer.h"

#include <gtest/gtest.h>

// A type of the tests' own with an attribute of each kind. All that it writes is accessors,
// handlers and rows: delivery, names, reflection and announcement come with them.
namespace Tests {

namespace {

class Part : public Notify::NotifyingEntity< Part > {
 public:
   class NotifieeConst;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   explicit Part( Zet::Name name ) : NotifyingEntity( std::move( name ) ) {}
   Zet::Name const& zetKey() const noexcept { return zetName(); }

 private:
   friend class Notify::NotifyingEntity< Part >;
   mutable NotifieeList notifiees_;

 public:
   Zet::ChainLink< Part > zetChainLink;
};

class Part::NotifieeConst : public Notify::EntityNotifiee< Part, Zet::Entity::NotifieeConst > {};

class Gauge : public Notify::NotifyingEntity< Gauge > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< Gauge >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   class GenericIf_;
   class _Type;
   using Level = Notify::ValueMember< Kelnet::IntfId, unsigned int, Gauge >;

   explicit Gauge( Zet::Name name ) : NotifyingEntity( std::move( name ) ) {}
   static Zet::Ptr< Zet::ZetType const > _fwkType();

   double value() const { return value_; }
   void valueIs( double const& value ) {
      if ( value == value_ )
         return;
      value_ = value;
      notify< &Gauge::value >();
   }
   unsigned int most() const { return 100; }
   bool isFull() const { return value_ >= most(); }
   void reset( double value ) { valueIs( value ); }

   unsigned int level( Kelnet::IntfId at ) const { return level_.value( at ); }
   void levelIs( Kelnet::IntfId at, unsigned int level ) { level_.valueIs( *this, at, level ); }
   unsigned int levelDel( Kelnet::IntfId at ) { return level_.valueDel( *this, at ); }
   void levelNotify( Kelnet::IntfId at, Zet::Ptr< Level > const& ) {
      notify< &Gauge::level >( at );
   }
   using Levels = Notify::ValueCollection< &Gauge::levelNotify >;
   Levels::Members const& levelMembers() const { return level_.members(); }

   Zet::Ptr< Part > part( Zet::Name name ) const { return part_.find( name ); }
   Zet::Ptr< Part > partIs( Zet::Name name ) {
      if ( auto const member = part( name ) )
         return member;
      auto const member = part_.newMember( *this, 261, Zet::make< Part >( name ) );
      notify< &Gauge::part >( name );
      return member;
   }
   Zet::Ptr< Part > partDel( Zet::Name name ) { return part_.del( *this, name ); }
   void partNotify( Zet::Name name, Zet::Ptr< Part > const& member ) {
      member->parentIs( nullptr );
      notify< &Gauge::part >( name );
   }
   using Parts = Notify::EntityCollection< &Gauge::partNotify >;
   Parts::Members const& partMembers() const { return part_.members(); }

 private:
   friend class Notify::NotifyingEntity< Gauge >;
   double value_ = 0;
   Levels level_;
   Parts part_;
   mutable NotifieeList notifiees_;
};

class Gauge::NotifieeConst : public Notify::EntityNotifiee< Gauge, Zet::Entity::NotifieeConst,
                                                            Kelnet::IntfId, Zet::Name > {
 public:
   virtual void onValue() {}
   virtual void onLevel( Kelnet::IntfId ) {}
   virtual void onPart( Zet::Name ) {}
};

} // namespace

} // namespace Tests

template <> struct Notify::Description< Tests::Part > {
   static constexpr std::string_view nameSpace = "Tests";
   static constexpr std::string_view name = "Part";
   static constexpr std::tuple<> attributes{};
};

template <> struct Notify::Description< Tests::Gauge > {
   using T = Tests::Gauge;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "Tests";
   static constexpr std::string_view name = "Gauge";
   static constexpr std::tuple attributes{
      Scalar< &T::value, &T::valueIs, &N::onValue >{ 258, "value" },
      Constant< &T::most >{ 259, "most" },
      ValueCollectionRow< &T::level, &T::levelMembers, &T::levelIs, &T::levelDel, &N::onLevel >{
          260, "level" },
      EntityCollectionRow< &T::part, &T::partMembers, &T::partIs, &T::partDel, &N::onPart >{
          261, "part" },
      Derived< &T::isFull >{ 262, "isFull" },
      Function< &T::reset, 1 >{ 263, "reset", "value" },
   };
};

namespace Tests {

namespace {

class Gauge::GenericIf_ : public Reflect::ReflectedEntityIf< Gauge > {
 public:
   class GenericIf_Adapter_;
   using ReflectedEntityIf::ReflectedEntityIf;
};

class Gauge::GenericIf_::GenericIf_Adapter_ : public Reflect::Bridge< Gauge > {
 public:
   using Bridge::Bridge;
   void onValue() override { changed< &Gauge::value >(); }
   void onLevel( Kelnet::IntfId at ) override { changedAt< &Gauge::level >( at ); }
   void onPart( Zet::Name name ) override { changedAt< &Gauge::part >( name ); }
};

class Gauge::_Type : public Reflect::EntityType< Gauge > {
   using EntityType::EntityType;
};

Zet::Ptr< Zet::ZetType const >
Gauge::_fwkType() {
   return Reflect::typeOf< Gauge >( [] {}, Zet::Entity::_fwkType );
}

} // namespace

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
   auto const e1 = Zet::valueIf( Kelnet::IntfId( "e1" ) );
   EXPECT_EQ( "null", done( *reflected, "value", 128, {}, Zet::valueIf( 120.0 ) ) );
   EXPECT_EQ( "120", done( *reflected, "value", 0 ) );
   EXPECT_EQ( "true", done( *reflected, "isFull", 0 ) );
   EXPECT_EQ( "100", done( *reflected, "most", 0 ) );
   EXPECT_EQ( "null", done( *reflected, "level", 128, e1, Zet::valueIf( 3u ) ) );
   EXPECT_EQ( "3", done( *reflected, "level", 129, e1 ) );
   EXPECT_EQ( "Part", done( *reflected, "part", 128, {},
                            listOf( { { "name", Zet::valueIf( Zet::Name( "p" ) ) } } ) ) );
   EXPECT_EQ( "null",
              done( *reflected, "reset", 0, listOf( { { "value", Zet::valueIf( 1.0 ) } } ) ) );
   EXPECT_EQ( 1.0, gauge->value() );
   EXPECT_EQ( "level", gauge->attributeString( 260 ) );

   auto const& types = reactor->nameSpaces().front().types;
   ASSERT_EQ( 1u, types.size() );
   Log announced;
   for ( auto const& attribute : types.front()->attributes() )
      announced.push_back( attribute->name().c_str() );
   EXPECT_EQ( ( Log{ "isNondestructing", "value", "most", "level", "part", "isFull", "reset" } ),
              announced );
   EXPECT_EQ( "Kelnet::IntfId", types.front()->attr( "level" )->keyType()->fullName() );
   EXPECT_EQ( "Tests::Part", types.front()->attr( "part" )->valueType()->fullName() );
}

} // namespace Tests
