#include "bench/log/Changes.h"
#include "record.capnp.h"

#include <capnp/message.h>
#include <capnp/serialize.h>
#include <kj/io.h>

namespace Bench {

namespace {

void
fill( cap::Record::Builder record, Change const& change ) {
   auto const& header = change.header;
   record.setFirst( header.entity.first );
   record.setSecond( header.entity.second );
   record.setAttribute( header.attribute );
   record.setKind( header.kind );
   record.setCount( header.count );
   record.setCreation( header.creation );
   record.setTransaction( header.transaction );
   auto value = record.getValue();
   switch ( change.value ) {
   case Change::Value::count:
      return value.setNumber( change.count );
   case Change::Value::state:
      return value.setState( change.state );
   case Change::Value::time:
      return value.setTime( change.time );
   case Change::Value::member: {
      auto member = value.initMember();
      member.setKey( { change.key.data(), change.key.size() } );
      return member.setTruth( change.truth );
   }
   }
}

// One message each, built in a reused scratch space.
std::size_t
encode( std::vector< capnp::word >& room ) {
   kj::ArrayOutputStream out( kj::arrayPtr( reinterpret_cast< kj::byte* >( room.data() ),
                                            room.size() * sizeof( capnp::word ) ) );
   std::array< capnp::word, 64 > scratch;
   for ( Change const& change : changes() ) {
      std::memset( scratch.data(), 0, sizeof scratch );
      capnp::MallocMessageBuilder message( kj::arrayPtr( scratch.data(), scratch.size() ) );
      fill( message.initRoot< cap::Record >(), change );
      capnp::writeMessage( out, message );
   }
   return out.getArray().size();
}

void
add( Sum& sum, cap::Record::Reader record ) {
   sum.add( record.getFirst(), record.getSecond(), record.getAttribute(), record.getKind(),
            record.getCount(), record.getCreation(), record.getTransaction() );
   auto const value = record.getValue();
   switch ( value.which() ) {
   case cap::Record::Value::NUMBER:
      return sum.add( std::uint64_t{ value.getNumber() } );
   case cap::Record::Value::STATE:
      return sum.add( std::uint64_t{ static_cast< std::uint32_t >( value.getState() ) } );
   case cap::Record::Value::TIME:
      return sum.add( value.getTime() );
   default: {
      auto const member = value.getMember();
      auto const key = member.getKey();
      return sum.add( { key.begin(), key.size() }, member.getTruth() );
   }
   }
}

std::uint64_t
decode( std::vector< capnp::word > const& coded, std::size_t size ) {
   Sum sum;
   auto left = kj::arrayPtr( coded.data(), size / sizeof( capnp::word ) );
   while ( left.size() != 0 ) {
      capnp::FlatArrayMessageReader message( left );
      add( sum, message.getRoot< cap::Record >() );
      left = kj::arrayPtr( message.getEnd(), left.end() );
   }
   return sum.sum();
}

} // namespace

void
addCapnp() {
   add( "capnp", "encode", []( benchmark::State& state ) {
      std::vector< capnp::word > room( codedRoom / sizeof( capnp::word ) );
      std::size_t size = 0;
      for ( auto _ : state ) {
         size = encode( room );
         benchmark::ClobberMemory();
      }
      check( decode( room, size ) == expectedSum(), "capnp, encoded" );
      report( state, size );
   } );
   add( "capnp", "decode", []( benchmark::State& state ) {
      std::vector< capnp::word > room( codedRoom / sizeof( capnp::word ) );
      std::size_t const size = encode( room );
      for ( auto _ : state )
         check( decode( room, size ) == expectedSum(), "capnp, decoded" );
      each( state, changes().size() );
   } );
}

} // namespace Bench
