#include "agent/TableReader.h"

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/NotifyingEntity.h"
#include "adapters/notify/ValueCollection.h"
#include "adapters/reflect/Bridge.h"
#include "adapters/reflect/Unit.h"
#include "agent/Reflected.h"
#include "model/GroupLinkStatus.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/ListRaw.h"

#include <gtest/gtest.h>

namespace Ufdd {
namespace {

using UplinkFailureDetection::GroupLinkStatus;

// A type that the reader has never seen, with an attribute of each type that there is.
class Trunk : public Notify::NotifyingEntity< Trunk > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< Trunk >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   class GenericIf_;
   class _Type;
   using Weight = Notify::ValueMember< Kelnet::IntfId, unsigned int, Trunk >;

   explicit Trunk( Zet::Name name ) : NotifyingEntity( std::move( name ) ) {}
   static Zet::Ptr< Zet::ZetType const > _fwkType();

   bool isTagged() const { return isTagged_; }
   void isTaggedIs( bool isTagged ) { isTagged_ = isTagged; }
   double holdTime() const { return holdTime_; }
   void holdTimeIs( double const& holdTime ) { holdTime_ = holdTime; }
   GroupLinkStatus atFirst() const { return atFirst_; }
   void atFirstIs( GroupLinkStatus atFirst ) { atFirst_ = atFirst; }
   bool isIdle() const { return weight_.members().count() == 0; }

   unsigned int weight( Kelnet::IntfId of ) const { return weight_.value( of ); }
   void weightIs( Kelnet::IntfId of, unsigned int weight ) { weight_.valueIs( *this, of, weight ); }
   unsigned int weightDel( Kelnet::IntfId of ) { return weight_.valueDel( *this, of ); }
   void weightNotify( Kelnet::IntfId, Zet::Ptr< Weight > const& ) {}
   using Weights = Notify::ValueCollection< &Trunk::weightNotify >;
   Weights::Members const& weightMembers() const { return weight_.members(); }

 private:
   friend class Notify::NotifyingEntity< Trunk >;
   bool isTagged_ = false;
   double holdTime_ = 0;
   GroupLinkStatus atFirst_ = GroupLinkStatus::unknown;
   Weights weight_;
   mutable NotifieeList notifiees_;
};

class Trunk::NotifieeConst
    : public Notify::EntityNotifiee< Trunk, Zet::Entity::NotifieeConst, Kelnet::IntfId > {
 public:
   virtual void onAny() {}
   virtual void onWeight( Kelnet::IntfId ) {}
};

} // namespace
} // namespace Ufdd

template <> struct Notify::Description< Ufdd::Trunk > {
   using T = Ufdd::Trunk;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "Trunk";
   static constexpr std::tuple attributes{
      Scalar< &T::isTagged, &T::isTaggedIs, &N::onAny >{ 258, "isTagged" },
      Scalar< &T::holdTime, &T::holdTimeIs, &N::onAny >{ 259, "holdTime" },
      Scalar< &T::atFirst, &T::atFirstIs, &N::onAny >{ 260, "atFirst" },
      ValueCollectionRow< &T::weight, &T::weightMembers, &T::weightIs, &T::weightDel,
                          &N::onWeight >{ 261, "weight" },
      Derived< &T::isIdle >{ 262, "isIdle" },
   };
};

namespace Ufdd {
namespace {

class Trunk::GenericIf_ : public Reflect::ReflectedEntityIf< Trunk > {
 public:
   class GenericIf_Adapter_ : public Reflect::Bridge< Trunk > {
      using Bridge::Bridge;
   };
   using ReflectedEntityIf::ReflectedEntityIf;
};

class Trunk::_Type : public Reflect::EntityType< Trunk > {
   using EntityType::EntityType;
};

Zet::Ptr< Zet::ZetType const >
Trunk::_fwkType() {
   return Reflect::typeOf< Trunk >( [] {}, Zet::Entity::_fwkType );
}

class TableReaderTest : public testing::Test {
 protected:
   static void SetUpTestSuite() {
      Zet::IntrospectionReactor reactor;
      reactor.handleNameSpace( "Ufdd" );
      Reflect::announce< Trunk >( reactor );
   }
   void read( std::string_view text ) {
      reader.read( toml::parse( text ), *reflected( trunk ), "this trunk" );
   }

   Zet::Ptr< Trunk > trunk = Zet::make< Trunk >( "t" );
   Findings findings{ "f" };
   TableReader reader{ *Trunk::_fwkType(), {}, findings };
};

TEST_F( TableReaderTest, readsATypeItHasNeverSeen ) {
   read( R"(is_tagged = true
hold_time = 3
at_first = "down"
weight = { eth1 = 7, eth2 = 8 }
)" );
   EXPECT_EQ( findings.errors(), std::vector< std::string >() );
   EXPECT_TRUE( trunk->isTagged() );
   EXPECT_EQ( trunk->holdTime(), 3.0 );
   EXPECT_EQ( trunk->atFirst(), GroupLinkStatus::down );
   EXPECT_EQ( trunk->weight( Kelnet::IntfId( "eth2" ) ), 8u );
   EXPECT_EQ( reader.keys(),
              ( std::vector< std::string >{ "is_tagged", "hold_time", "at_first", "weight" } ) );
   EXPECT_FALSE( reader.reads( "is_idle" ) || reader.reads( "is_nondestructing" ) );

   auto const other = Zet::make< Trunk >( "o" );
   other->weightIs( Kelnet::IntfId( "eth3" ), 1 );
   copyConfiguration( *reflected( trunk ), *reflected( other ), CopyOrder::addFirst );
   EXPECT_EQ( scalarsText( *reflected( other ) ), "isTagged true, holdTime 3, atFirst 'down'" );
   EXPECT_EQ( other->weightMembers().count(), 2u );
}

TEST_F( TableReaderTest, saysWhatTheTypeWants ) {
   read( R"(is_tagged = 1
hold_time = "long"
at_first = "sideways"
weight = { eth1 = -7, "a/b" = 1, eth2 = 2 }
)" );
   EXPECT_EQ(
       findings.errors(),
       ( std::vector< std::string >{
           R"(f:1:13: expected is_tagged to be true or false, not 1)",
           R"(f:2:13: expected hold_time to be a number, not a text)",
           R"(f:3:12: expected at_first to be one of "unknown", "up", "down", not "sideways")",
           R"(f:4:19: expected weight to be a whole number from 0 to 4294967295, not -7)",
           R"(f:4:31: "a/b" is not the name of an interface: it has a slash, a colon or white space in it)",
       } ) );
   EXPECT_EQ( trunk->weight( Kelnet::IntfId( "eth2" ) ), 2u );
}

} // namespace
} // namespace Ufdd
