#include "bench/log/Changes.h"
#include "record.pb.h"

#include <google/protobuf/io/coded_stream.h>

namespace Bench {

namespace {

using google::protobuf::io::CodedOutputStream;

void
fill( protobuf::Record& record, Change const& change ) {
   auto const& header = change.header;
   record.Clear();
   record.set_first( header.entity.first );
   record.set_second( header.entity.second );
   record.set_attribute( header.attribute );
   record.set_kind( header.kind );
   record.set_count( header.count );
   record.set_creation( header.creation );
   record.set_transaction( header.transaction );
   switch ( change.value ) {
   case Change::Value::count:
      record.set_number( change.count );
      break;
   case Change::Value::state:
      record.set_state( change.state );
      break;
   case Change::Value::time:
      record.set_time( change.time );
      break;
   case Change::Value::member:
      record.mutable_member()->set_key( change.key );
      record.mutable_member()->set_truth( change.truth );
      break;
   }
}

// Each behind its length, into one reused message.
std::size_t
encode( std::vector< unsigned char >& room ) {
   protobuf::Record record;
   unsigned char* at = room.data();
   for ( Change const& change : changes() ) {
      fill( record, change );
      at = CodedOutputStream::WriteVarint32ToArray(
          static_cast< std::uint32_t >( record.ByteSizeLong() ), at );
      at = record.SerializeWithCachedSizesToArray( at );
   }
   return static_cast< std::size_t >( at - room.data() );
}

void
add( Sum& sum, protobuf::Record const& record ) {
   sum.add( record.first(), record.second(), record.attribute(), record.kind(), record.count(),
            record.creation(), record.transaction() );
   switch ( record.value_case() ) {
   case protobuf::Record::kNumber:
      return sum.add( std::uint64_t{ record.number() } );
   case protobuf::Record::kState:
      return sum.add( std::uint64_t{ static_cast< std::uint32_t >( record.state() ) } );
   case protobuf::Record::kTime:
      return sum.add( record.time() );
   case protobuf::Record::kMember:
      return sum.add( record.member().key(), record.member().truth() );
   default:
      return;
   }
}

std::uint64_t
decode( std::span< unsigned char const > coded ) {
   Sum sum;
   protobuf::Record record;
   while ( !coded.empty() ) {
      // None of the records is as long as 128 bytes.
      std::size_t const size = coded[ 0 ];
      if ( !record.ParseFromArray( &coded[ 1 ], static_cast< int >( size ) ) )
         return 0;
      add( sum, record );
      coded = coded.subspan( 1 + size );
   }
   return sum.sum();
}

} // namespace

void
addProtobuf() {
   add( "protobuf", "encode", []( benchmark::State& state ) {
      std::vector< unsigned char > room( codedRoom );
      std::size_t size = 0;
      for ( auto _ : state ) {
         size = encode( room );
         benchmark::ClobberMemory();
      }
      check( decode( std::span( room ).first( size ) ) == expectedSum(), "protobuf, encoded" );
      report( state, size );
   } );
   add( "protobuf", "decode", []( benchmark::State& state ) {
      std::vector< unsigned char > room( codedRoom );
      auto const coded = std::span( room ).first( encode( room ) );
      for ( auto _ : state )
         check( decode( coded ) == expectedSum(), "protobuf, decoded" );
      each( state, changes().size() );
   } );
   add( "protobuf", "replay", []( benchmark::State& state ) {
      auto const& keys = memberKeys();
      std::string coded;
      for ( auto _ : state ) {
         protobuf::Members written;
         for ( std::string const& key : keys ) {
            auto& member = *written.add_member();
            member.set_key( key );
            member.set_truth( true );
         }
         written.SerializeToString( &coded );
         protobuf::Members read;
         check( read.ParseFromString( coded ) &&
                    static_cast< std::size_t >( read.member_size() ) == keys.size() &&
                    read.member( 7 ).key() == keys[ 7 ],
                "protobuf, replayed" );
      }
      each( state, keys.size() );
   } );
}

} // namespace Bench
