#include "model/GroupCollection.h"

#include "tests/support/Entities.h"
#include "tests/support/Failures.h"

#include <gtest/gtest.h>

using namespace Tests;

namespace {

template < class E > class GroupCollection : public testing::Test {
 protected:
   Log heard() { return std::exchange( log, {} ); }

   Log log;
   Zet::Ptr< E > parent = Sample< E >().entity;
   Zet::Ptr< Actor< E > > observer = observe< Actor >( parent, log, "n" );
};

using Parents = testing::Types< Ufd::Config, Ufd::Status >;
TYPED_TEST_SUITE( GroupCollection, Parents );

TYPED_TEST( GroupCollection, makesEachGroupOnce ) {
   bool seen = false;
   this->observer->act = [ & ] { seen = this->parent->group( "g" ) != nullptr; };
   auto const member = this->parent->groupIs( "g" );
   EXPECT_TRUE( seen );
   EXPECT_EQ( this->parent->groupIs( "g" ), member );
   EXPECT_EQ( this->parent->group( "g" ), member );
   EXPECT_EQ( this->parent->group( "h" ), nullptr );
   for ( auto const& one : { member, this->parent->newGroup( "h" ) } ) {
      EXPECT_EQ( one->parent(), this->parent );
      EXPECT_EQ( one->parentAttrId(), 258 );
   }
   EXPECT_EQ( this->heard(), Log{ "n 258 g" } );
   EXPECT_EQ( member->uriPath(), "/e/group/g" );
   EXPECT_EQ( member->fullName(), "/e/g" );
}

TYPED_TEST( GroupCollection, clearsTheParentOfWhatItRemoves ) {
   auto& owner = *this->parent;
   std::function< void() > const ways[] = { [ & ] { owner.groupDel( "g" ); },
                                            [ & ] { owner.groupDelAll(); },
                                            [ & ] { owner.groupIterator().del(); } };
   for ( auto const& way : ways ) {
      auto const member = owner.groupIs( "g" );
      bool seen = true;
      this->observer->act = [ & ] { seen = owner.group( "g" ) || member->parent(); };
      this->heard();
      way();
      EXPECT_FALSE( seen );
      EXPECT_EQ( member->uriPath(), "/g" );
      EXPECT_EQ( owner.groupDel( "g" ), nullptr );
      EXPECT_EQ( this->heard(), Log{ "n 258 g" } );
      this->observer->act = [] {};
   }
}

// While it is destroyed it is handed out, counted, to the notifiees and their snapshots.
TYPED_TEST( GroupCollection, tellsOfEveryMemberWhenItIsDestroyed ) {
   std::vector< Zet::Ptr< typename TypeParam::Member > > members;
   for ( char const* const name : { "a", "b", "c" } )
      members.push_back( this->parent->groupIs( name ) );
   Log expected{ "n 5" };
   for ( std::string const& key : keysOf( this->parent->groupMembers() ) )
      expected.push_back( "n 258 " + key );
   this->heard();
   this->observer->zetHasUncountedNotifierIs( true );
   TypeParam* const bare = this->parent.get();
   this->observer->act = [ & ] {
      Zet::Ptr< TypeParam > const passing( bare );
      if ( bare->groupMembers().empty() )
         this->observer->notifierIs( nullptr );
   };
   this->parent = nullptr;
   EXPECT_EQ( this->heard(), expected );
   for ( auto const& member : members )
      EXPECT_EQ( member->parent(), nullptr );
}

TYPED_TEST( GroupCollection, isDestroyedThoughAReportThrows ) {
   auto const thrower = observe< Thrower >( this->parent, this->log, "t" );
   this->observer->zetHasUncountedNotifierIs( true );
   thrower->zetHasUncountedNotifierIs( true );
   auto const a = this->parent->groupIs( "a" );
   auto const b = this->parent->groupIs( "b" );
   TypeParam* const bare = this->parent.get();
   this->observer->act = [ & ] {
      if ( !bare->groupMembers().empty() )
         return;
      thrower->notifierIs( nullptr );
      this->observer->notifierIs( nullptr );
   };
   thrower->insists = true;
   CollectedFailures const failures;
   this->parent = nullptr;
   EXPECT_EQ( failures.texts, ( Log{ "/e: a handler of zeroReferences failed: insisted",
                                     "/e: a handler of group failed: insisted",
                                     "/e: a handler of group failed: insisted" } ) );
   EXPECT_EQ( a->parent(), nullptr );
   EXPECT_EQ( b->parent(), nullptr );
}

} // namespace
