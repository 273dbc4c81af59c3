#include "platform/zet/ListLinked.h"
#include "platform/zet/ListRaw.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

template < template < class > class ListOf, template < class > class HookOf > struct Kind {
   struct Member : HookOf< Member > {};
   using List = ListOf< Member >;
};

template < class K > class List : public testing::Test {};
using Kinds = testing::Types< Kind< Zet::ListRaw, Zet::ListRawHook >,
                              Kind< Zet::ListLinked, Zet::ListLinkedHook > >;
TYPED_TEST_SUITE( List, Kinds );

TYPED_TEST( List, agreesWithAVector ) {
   using Member = typename TypeParam::Member;
   Member members[ 6 ];
   typename TypeParam::List list;
   std::vector< Member* > oracle;
   std::mt19937 random( 1 );
   for ( int round = 0; round < 2000; ++round ) {
      Member* const member = &members[ random() % 6 ];
      std::uint32_t const version = list.version();
      bool const wasIn = std::erase( oracle, member ) != 0;
      if ( wasIn || random() % 4 == 0 ) {
         list.remove( *member );
      } else if ( random() % 2 == 0 ) {
         list.insertHead( *member );
         oracle.insert( oracle.begin(), member );
      } else {
         list.insertTail( *member );
         oracle.push_back( member );
      }
      // Removing one that is not in the list changes nothing.
      bool const isIn = std::find( oracle.begin(), oracle.end(), member ) != oracle.end();
      ASSERT_EQ( list.version(), version + ( wasIn || isIn ? 1 : 0 ) );
      if ( random() % 20 == 0 ) {
         list.deleteAll();
         oracle.clear();
      }
      std::vector< Member* > walked;
      for ( Member* at = list.head(); at; at = list.next( *at ) )
         walked.push_back( at );
      ASSERT_EQ( walked, oracle );
      ASSERT_EQ( list.count(), oracle.size() );
   }
}

} // namespace
