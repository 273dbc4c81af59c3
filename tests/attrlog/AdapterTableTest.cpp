#include "platform/zet/attrlog/AdapterTable.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace {

TEST( AdapterTable, AgreesWithAMap ) {
   std::mt19937 random( 5 );
   for ( unsigned int const range : { 8u, 40u, 3000u } ) {
      Zet::NboAttrLog::AdapterTable< int > table;
      std::map< Zet::EntityId, int* > oracle;
      std::vector< int > adapters( range * 2 );
      for ( int step = 0; step < 20000; ++step ) {
         auto const number = static_cast< std::uint32_t >( random() % range );
         auto const side = static_cast< std::uint32_t >( random() % 2 );
         Zet::EntityId const id{ number << 1 | 1, side };
         int& adapter = adapters[ number * 2 + side ];
         ASSERT_EQ( table.find( id ), oracle.contains( id ) ? &adapter : nullptr );
         if ( random() % 2 == 0 )
            ASSERT_EQ( table.insert( id, adapter ), oracle.emplace( id, &adapter ).second );
         else {
            table.erase( id );
            oracle.erase( id );
         }
      }
      for ( auto const& [ id, adapter ] : oracle )
         ASSERT_EQ( table.find( id ), adapter );
   }
}

} // namespace
