#include "platform/zet/ObjectPool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

namespace {

using Zet::objectPoolDelete;
using Zet::objectPoolNew;

TEST( ObjectPool, keepsObjectsOfAllSizesApart ) {
   struct Taken {
      unsigned char* memory;
      std::size_t size;
   };
   std::vector< Taken > taken;
   auto const byteOf = []( std::size_t place ) {
      return static_cast< unsigned char >( place * 7 );
   };
   auto const fill = [ & ]( std::size_t place ) {
      std::memset( taken[ place ].memory, byteOf( place ), taken[ place ].size );
   };
   for ( std::size_t round = 0; round < 40; ++round )
      for ( std::size_t size = 1; size <= 280; ++size ) {
         taken.push_back( { static_cast< unsigned char* >( objectPoolNew( size ) ), size } );
         auto const at = reinterpret_cast< std::uintptr_t >( taken.back().memory );
         ASSERT_EQ( at % ( size % 16 == 0 ? 16 : 8 ), 0u );
         fill( taken.size() - 1 );
      }
   // Every third is given back, and others take the memory.
   for ( std::size_t place = 0; place < taken.size(); place += 3 )
      objectPoolDelete( taken[ place ].memory, taken[ place ].size );
   for ( std::size_t place = 0; place < taken.size(); place += 3 ) {
      taken[ place ].memory = static_cast< unsigned char* >( objectPoolNew( taken[ place ].size ) );
      fill( place );
   }
   for ( std::size_t place = 0; place < taken.size(); ++place ) {
      for ( std::size_t i = 0; i < taken[ place ].size; ++i )
         ASSERT_EQ( taken[ place ].memory[ i ], byteOf( place ) );
      objectPoolDelete( taken[ place ].memory, taken[ place ].size );
   }
}

} // namespace
