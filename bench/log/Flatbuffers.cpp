#include "bench/log/Changes.h"
#include "record_generated.h"

namespace Bench {

namespace {

flatbuffers::Offset< void >
build( flatbuffers::FlatBufferBuilder& builder, Change const& change, flat::Value& type ) {
   switch ( change.value ) {
   case Change::Value::count:
      type = flat::Value_Number;
      return flat::CreateNumber( builder, change.count ).Union();
   case Change::Value::state:
      type = flat::Value_State;
      return flat::CreateState( builder, change.state ).Union();
   case Change::Value::time:
      type = flat::Value_Time;
      return flat::CreateTime( builder, change.time ).Union();
   default:
      type = flat::Value_Member;
      return flat::CreateMember( builder, builder.CreateString( change.key ), change.truth )
          .Union();
   }
}

// Each behind its length and filled up to eight bytes, by one reused builder.
std::size_t
encode( std::vector< unsigned char >& room ) {
   flatbuffers::FlatBufferBuilder builder( 1024 );
   std::size_t size = 0;
   for ( Change const& change : changes() ) {
      builder.Clear();
      flat::Value type{};
      auto const value = build( builder, change, type );
      auto const& from = change.header;
      flat::Header const header( from.entity.first, from.entity.second, from.attribute, from.count,
                                 from.creation, from.kind, from.transaction );
      builder.FinishSizePrefixed( flat::CreateRecord( builder, &header, type, value ) );
      std::memcpy( room.data() + size, builder.GetBufferPointer(), builder.GetSize() );
      size += ( builder.GetSize() + 7 ) / 8 * 8;
   }
   return size;
}

void
add( Sum& sum, flat::Record const& record ) {
   auto const& header = *record.header();
   sum.add( header.first(), header.second(), header.attribute(), header.kind(), header.count(),
            header.creation(), header.transaction() );
   switch ( record.value_type() ) {
   case flat::Value_Number:
      return sum.add( std::uint64_t{ record.value_as_Number()->value() } );
   case flat::Value_State:
      return sum.add(
          std::uint64_t{ static_cast< std::uint32_t >( record.value_as_State()->value() ) } );
   case flat::Value_Time:
      return sum.add( record.value_as_Time()->value() );
   default: {
      auto const& member = *record.value_as_Member();
      return sum.add( member.key()->string_view(), member.truth() );
   }
   }
}

std::uint64_t
decode( std::span< unsigned char const > coded ) {
   Sum sum;
   while ( !coded.empty() ) {
      std::size_t const size = flatbuffers::ReadScalar< std::uint32_t >( coded.data() ) + 4;
      flatbuffers::Verifier verifier( coded.data(), size );
      if ( !flat::VerifySizePrefixedRecordBuffer( verifier ) )
         return 0;
      add( sum, *flat::GetSizePrefixedRecord( coded.data() ) );
      coded = coded.subspan( ( size + 7 ) / 8 * 8 );
   }
   return sum.sum();
}

} // namespace

void
addFlatbuffers() {
   add( "flatbuffers", "encode", []( benchmark::State& state ) {
      std::vector< unsigned char > room( codedRoom );
      std::size_t size = 0;
      for ( auto _ : state ) {
         size = encode( room );
         benchmark::ClobberMemory();
      }
      check( decode( std::span( room ).first( size ) ) == expectedSum(), "flatbuffers, encoded" );
      report( state, size );
   } );
   add( "flatbuffers", "decode", []( benchmark::State& state ) {
      std::vector< unsigned char > room( codedRoom );
      auto const coded = std::span( room ).first( encode( room ) );
      for ( auto _ : state )
         check( decode( coded ) == expectedSum(), "flatbuffers, decoded" );
      each( state, changes().size() );
   } );
}

} // namespace Bench
