#pragma once

#include "platform/zet/BitReverse.h"
#include "platform/zet/Export.h"
#include "platform/zet/String8.h"
#include "platform/zet/ZetType.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string_view>

namespace Kelnet {

// Identifies an interface: a 32-bit number that stands for the interface's name within this
// process. The empty id is 0 and has the empty name. Hash and order are those of the name: they are
// the same in every process, whatever the order in which names are first seen.
class ZET_EXPORT IntfId {
 public:
   constexpr IntfId() noexcept = default;
   explicit IntfId( std::string_view name ) { handleInitialized( name ); }

   // The most memory that the names may take, in bytes: enough for some 600,000 names of usual
   // length.
   static constexpr std::size_t namesLimit = 64 << 20;

   // Makes this the id of that name. Every name is remembered for the life of the process, even one
   // that a peer sent, so that an id can be kept by value.
   // Throws: RangeException for a new name when the limit is reached.
   void handleInitialized( std::string_view name );

   // The text is valid for the life of the process.
   Zet::Name name() const noexcept;
   std::uint32_t hash() const noexcept { return Zet::bitReverse( position() ); }
   // Returns the bit-reversed hash: the place in the order of a HashMap.
   static constexpr bool knowsPosition = true;
   std::uint32_t position() const noexcept {
      return value_ >= firstPosition ? value_ : irregularPosition( value_ );
   }
   // Returns the number, which is meaningful within this process only.
   constexpr std::uint32_t value() const noexcept { return value_; }

   constexpr bool operator==( IntfId other ) const noexcept { return value_ == other.value_; }
   bool operator<( IntfId other ) const noexcept {
      return value_ != other.value_ && name() < other.name();
   }

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 private:
   // The number is the name's position, so that finding the position reads no memory. Numbers below
   // `firstPosition` are given out one by one: 0 to the empty name, the others to names whose
   // position is below `firstPosition` or is another name's number already.
   static constexpr std::uint32_t firstPosition = 1u << 16;
   [[gnu::cold]] static std::uint32_t irregularPosition( std::uint32_t value ) noexcept;

   std::uint32_t value_ = 0;
};

ZET_EXPORT std::ostream& operator<<( std::ostream& stream, IntfId id );

} // namespace Kelnet

template <> struct std::hash< Kelnet::IntfId > {
   std::size_t operator()( Kelnet::IntfId id ) const noexcept { return id.value(); }
};
