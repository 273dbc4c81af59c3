#pragma once

#include "bench/Frame.h"
#include "platform/zet/attrlog/MsgHeader.h"

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The work of the benchmark: changes as they are written to the attribute log, the same for all.
namespace Bench {

struct Change {
   enum class Value { count, state, time, member };

   Zet::NboAttrLog::MsgHeader header;
   Value value = Value::count;
   std::uint32_t count = 0;
   std::int32_t state = 0;
   double time = 0;
   std::string key; // Of a member, whose value is the truth.
   bool truth = false;
};

// Three attributes of a group change whenever it goes down or comes up, and now and then an uplink
// is added, as in a log of ufdd.
std::vector< Change > const& changes();

// What a reader takes out of the records. Every field counts.
class Sum {
 public:
   void add( std::uint64_t first, std::uint64_t second, std::int32_t attribute, std::uint64_t kind,
             std::uint64_t count, std::uint64_t creation, std::uint64_t transaction ) {
      sum_ += first * 3 + second * 5 + static_cast< std::uint32_t >( attribute ) + kind + count +
              creation + transaction;
   }
   void add( std::uint64_t number ) { sum_ += number; }
   void add( double number ) {
      std::uint64_t bits;
      std::memcpy( &bits, &number, sizeof bits );
      sum_ += bits;
   }
   void add( std::string_view key, bool truth ) {
      sum_ += key.size() + static_cast< unsigned char >( key.back() ) + truth;
   }
   std::uint64_t sum() const { return sum_; }

 private:
   std::uint64_t sum_ = 0;
};

// Of all changes, by whom they were not coded.
std::uint64_t expectedSum();

// Of the members that a replay sets to true.
std::vector< std::string > const& memberKeys();

// Reports the time and the bytes of a record.
inline void
report( benchmark::State& state, std::size_t size ) {
   each( state, changes().size() );
   bytes( state, static_cast< double >( size ) / static_cast< double >( changes().size() ) );
}

// Room for all changes in any of the encodings.
inline constexpr std::size_t codedRoom = 1 << 18;

void addFloor();
void addProtobuf();
void addFlatbuffers();
void addCapnp();

} // namespace Bench
