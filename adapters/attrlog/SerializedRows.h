#pragma once

#include "adapters/notify/Description.h"
#include "platform/zet/PtrInterface.h"

#include <cstddef>
#include <tuple>
#include <type_traits>

namespace AttrLog {

template < class R >
concept NotifyingRow = !std::is_null_pointer_v< std::remove_const_t< decltype( R::handler ) > >;

// The kinds of rows in the log.
template < class R >
concept CollectionRow = NotifyingRow< R > && requires {
   R::members;
};
template < class R >
concept ValuesRow = CollectionRow< R > && requires {
   R::set;
};
template < class R >
concept EntitiesRow = CollectionRow< R > && requires {
   R::is;
};
template < class R >
concept ScalarRow = !CollectionRow< R > && requires {
   R::set;
};

// The reader of the first attribute of every type.
inline constexpr auto readNondestructing = Notify::reader( &Zet::PtrInterface::isNondestructing );

namespace Detail {

inline constexpr Notify::Scalar< readNondestructing, &Zet::PtrInterface::isNondestructingIs,
                                 nullptr >
    nondestructingRow{ Zet::isNondestructingAttributeId, "isNondestructing" };

template < class R >
constexpr auto
ifSerialized( R const& row ) {
   if constexpr ( NotifyingRow< R > && (ScalarRow< R > || CollectionRow< R >))
      return std::tuple{ row };
   else
      return std::tuple{};
}

} // namespace Detail

// The rows of T's replicated attributes. A row's place is its dirty bit.
template < class T >
inline constexpr auto serializedRows = std::apply(
    []( auto const&... row ) {
       return std::tuple_cat( std::tuple{ Detail::nondestructingRow },
                              Detail::ifSerialized( row )... );
    },
    Notify::Description< T >::attributes );

template < class T >
inline constexpr std::size_t serializedCount =
    std::tuple_size_v< std::remove_const_t< decltype( serializedRows< T > ) > >;

template < class T, std::size_t I >
using SerializedRow =
    std::tuple_element_t< I, std::remove_const_t< decltype( serializedRows< T > ) > >;

// Calls visit( std::integral_constant< I > ) for each place in order.
template < class T, class Visit >
void
forEachSerialized( Visit visit ) {
   [ & ]< std::size_t... I >( std::index_sequence< I... > ) {
      ( visit( std::integral_constant< std::size_t, I >{} ), ... );
   }
   ( std::make_index_sequence< serializedCount< T > >{} );
}

// Returns the place of the attribute that `Get` reads.
template < class T, auto Get >
constexpr std::size_t
placeOf() {
   constexpr std::size_t place = Notify::Detail::indexOf< Get >( serializedRows< T > );
   static_assert( place < serializedCount< T >, "the attribute is not replicated" );
   return place;
}

// The type of a row's value, and of the members of the collection at that place.
template < class T, class R >
using ValueOf = std::decay_t< std::invoke_result_t< decltype( R::get ), T const& > >;
template < class T, std::size_t I > using MemberOf = typename SerializedRow< T, I >::Member;
template < class M >
using ValueOfMember = std::decay_t< decltype( std::declval< M const& >().value() ) >;

} // namespace AttrLog
