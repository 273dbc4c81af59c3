#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace Zet {

// The name of an entity in a connection. The lowest bit of `first` is set in every id that a
// connection gives out. Such an id stays with its entity where the entity is relayed. `second` is
// the side of the connection that gave the id out, so that both sides can give out ids.
struct EntityId {
   std::uint32_t first = 0;
   std::uint32_t second = 0;

   auto operator<=>( EntityId const& ) const = default;
   explicit operator bool() const noexcept { return first != 0 || second != 0; }
   bool isShared() const noexcept { return ( first & 1 ) != 0; }
};

// The entity id in the header of a record that announces a root entity.
inline constexpr EntityId connectionEntityId{ 1, 0 };

} // namespace Zet

template <> struct std::hash< Zet::EntityId > {
   std::size_t operator()( Zet::EntityId const& id ) const noexcept {
      return std::size_t{ id.second } << 32 ^ id.first;
   }
};
