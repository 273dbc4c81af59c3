#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Ufdd {

// An IPv4 or IPv6 prefix, such as 10.0.0.0/8 or ::/0.
struct Prefix {
   bool isV6 = false;
   std::uint8_t length = 0; // In bits.
   // In network byte order; IPv4 uses the first four bytes.
   std::array< std::uint8_t, 16 > address{};

   auto operator<=>( Prefix const& ) const = default; // NOLINT(modernize-use-nullptr)

   // Reads "10.0.0.0/8"; returns nothing for any other text.
   static std::optional< Prefix > read( std::string_view text );
   // Reads an address, "10.0.0.1" or "fe80::1", as the prefix of that address alone; returns
   // nothing for any other text.
   static std::optional< Prefix > readAddress( std::string_view text );
   std::string text() const;
   // Returns the prefix with the bits after its length cleared.
   Prefix masked() const;

   struct Hash {
      std::size_t operator()( Prefix const& prefix ) const;
   };
};

// Returns an address as text: "10.0.0.1".
std::string addressText( bool isV6, std::array< std::uint8_t, 16 > const& address );

} // namespace Ufdd
