#include "bench/log/Changes.h"
#include "platform/zet/attrlog/Format.h"

namespace Bench {

namespace {

template < class Number >
unsigned char*
put( unsigned char* at, Number number ) {
   return Zet::NboAttrLog::store( at, number );
}

// As by hand: nothing is checked, nothing can be refused.
std::size_t
encodeFloor( std::vector< unsigned char >& room ) {
   unsigned char* at = room.data();
   for ( Change const& change : changes() ) {
      unsigned char* const begin = at;
      auto const& header = change.header;
      at = put( at + 2, header.entity.first );
      at = put( at, header.entity.second );
      at = put( at, static_cast< std::uint32_t >( header.attribute ) );
      *at++ = header.kind;
      at = put( at, header.count );
      at = put( at, header.creation );
      *at++ = header.transaction;
      *at++ = 1;
      switch ( change.value ) {
      case Change::Value::count:
         at = put( at, change.count );
         break;
      case Change::Value::state:
         at = put( at, static_cast< std::uint32_t >( change.state ) );
         break;
      case Change::Value::time:
         at = put( at, std::bit_cast< std::uint64_t >( change.time ) );
         break;
      case Change::Value::member:
         at = put( at, static_cast< std::uint16_t >( change.key.size() ) );
         std::memcpy( at, change.key.data(), change.key.size() );
         at += change.key.size();
         *at++ = change.truth;
         break;
      }
      *at++ = 3;
      put( begin, static_cast< std::uint16_t >( at - begin - 2 ) );
   }
   return static_cast< std::size_t >( at - room.data() );
}

std::uint64_t
decodeFloor( std::span< unsigned char const > coded ) {
   using Zet::NboAttrLog::load;
   Sum sum;
   for ( unsigned char const* at = coded.data(); at != coded.data() + coded.size(); ) {
      unsigned char const* const end = at + 2 + load< std::uint16_t >( at );
      auto const attribute = static_cast< std::int32_t >( load< std::uint32_t >( at + 10 ) );
      sum.add( load< std::uint32_t >( at + 2 ), load< std::uint32_t >( at + 6 ), attribute,
               at[ 14 ], load< std::uint32_t >( at + 15 ), load< std::uint32_t >( at + 19 ),
               at[ 23 ] );
      unsigned char const* const value = at + 25;
      if ( attribute == 260 )
         sum.add( std::bit_cast< double >( load< std::uint64_t >( value ) ) );
      else if ( end - value == 5 )
         sum.add( std::uint64_t{ load< std::uint32_t >( value ) } );
      else {
         std::size_t const size = load< std::uint16_t >( value );
         sum.add( { reinterpret_cast< char const* >( value + 2 ), size }, value[ 2 + size ] );
      }
      at = end;
   }
   return sum.sum();
}

} // namespace

void
addFloor() {
   add( "floor", "encode", []( benchmark::State& state ) {
      std::vector< unsigned char > room( codedRoom );
      std::size_t size = 0;
      for ( auto _ : state ) {
         size = encodeFloor( room );
         benchmark::ClobberMemory();
      }
      check( decodeFloor( std::span( room ).first( size ) ) == expectedSum(), "floor, encoded" );
      report( state, size );
   } );
   add( "floor", "decode", []( benchmark::State& state ) {
      std::vector< unsigned char > room( codedRoom );
      auto const coded = std::span( room ).first( encodeFloor( room ) );
      for ( auto _ : state )
         check( decodeFloor( coded ) == expectedSum(), "floor, decoded" );
      each( state, changes().size() );
   } );
   add( "memcpy", "encode", []( benchmark::State& state ) {
      std::vector< unsigned char > room( codedRoom );
      std::vector< unsigned char > copy( codedRoom );
      std::size_t const size = encodeFloor( room );
      for ( auto _ : state ) {
         std::memcpy( copy.data(), room.data(), size );
         benchmark::ClobberMemory();
      }
      check( decodeFloor( std::span( copy ).first( size ) ) == expectedSum(), "copied" );
      each( state, changes().size() );
   } );
}

} // namespace Bench
