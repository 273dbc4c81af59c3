#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/String8.h"
#include "platform/zet/ZetType.h"

#include <cstdint>
#include <iosfwd>
#include <string_view>

namespace Kelnet {

// An interface, by name: a 32-bit number that stands for the name within this process. The empty
// id is 0 and has the empty name. Hash and order are those of the name, the same in every
// process, whatever the order in which names are first seen.
class ZET_EXPORT IntfId {
 public:
   constexpr IntfId() noexcept = default;
   explicit IntfId( std::string_view name ) { handleInitialized( name ); }

   // Makes this the id of that name. A name is remembered for the life of the process.
   void handleInitialized( std::string_view name );

   // Valid for the life of the process.
   Zet::Name const& name() const noexcept { return row().name; }
   std::uint32_t hash() const noexcept { return row().hash; }
   // The number itself: means something within this process only.
   constexpr std::uint32_t value() const noexcept { return value_; }

   constexpr bool operator==( IntfId other ) const noexcept { return value_ == other.value_; }
   bool operator<( IntfId other ) const noexcept { return name() < other.name(); }

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 private:
   struct Row {
      Zet::Name name;
      std::uint32_t hash = Zet::Name().hash();
   };

   // Rows never move: blocks of them, made as names come.
   static constexpr unsigned int blockBits = 10;
   static constexpr std::uint32_t blockCount = 1u << 14;
   static Row* blocks_[ blockCount ];

   Row const& row() const noexcept {
      return blocks_[ value_ >> blockBits ][ value_ & ( ( 1u << blockBits ) - 1 ) ];
   }

   std::uint32_t value_ = 0;
};

ZET_EXPORT std::ostream& operator<<( std::ostream& stream, IntfId id );

} // namespace Kelnet
