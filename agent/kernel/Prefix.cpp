#include "agent/kernel/Prefix.h"

#include <arpa/inet.h>
#include <charconv>
#include <functional>
#include <tuple>

namespace Ufdd {

std::optional< Prefix >
Prefix::read( std::string_view text ) {
   std::size_t const slash = text.find( '/' );
   if ( slash == text.npos )
      return std::nullopt;
   std::optional< Prefix > prefix = readAddress( text.substr( 0, slash ) );
   if ( !prefix )
      return std::nullopt;
   std::uint8_t const most = prefix->length;
   char const* const end = text.data() + text.size();
   auto const [ stop, error ] = std::from_chars( text.data() + slash + 1, end, prefix->length );
   if ( error != std::errc() || stop != end || prefix->length > most )
      return std::nullopt;
   return prefix;
}

std::optional< Prefix >
Prefix::readAddress( std::string_view text ) {
   Prefix prefix;
   std::string const address( text );
   prefix.isV6 = address.find( ':' ) != address.npos;
   prefix.length = prefix.isV6 ? 128 : 32;
   // A zero byte would end the text for inet_pton().
   if ( address.find( '\0' ) != address.npos ||
        inet_pton( prefix.isV6 ? AF_INET6 : AF_INET, address.c_str(), prefix.address.data() ) != 1 )
      return std::nullopt;
   return prefix;
}

std::string
Prefix::text() const {
   return addressText( isV6, address ) + '/' + std::to_string( length );
}

Prefix
Prefix::masked() const {
   Prefix result = *this;
   for ( unsigned int bit = length; bit < 8 * result.address.size(); ++bit )
      result.address[ bit / 8 ] &= static_cast< std::uint8_t >( ~( 0x80u >> bit % 8 ) );
   return result;
}

std::size_t
Prefix::Hash::operator()( Prefix const& prefix ) const {
   return std::hash< std::string_view >()(
              { reinterpret_cast< char const* >( prefix.address.data() ),
                prefix.address.size() } ) +
          2 * std::size_t( prefix.length ) + prefix.isV6;
}

std::string
addressText( bool isV6, std::array< std::uint8_t, 16 > const& address ) {
   std::array< char, INET6_ADDRSTRLEN > text{};
   inet_ntop( isV6 ? AF_INET6 : AF_INET, address.data(), text.data(), text.size() );
   return text.data();
}

} // namespace Ufdd
