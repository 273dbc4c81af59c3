#pragma once

#include "adapters/notify/Description.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/Ptr.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace Reflect {

namespace Detail {

template < class F > struct Signature;
template < class R, class T, class... A > struct Signature< R ( T::* )( A... ) > {
   using Result = R;
   using Arguments = std::tuple< std::decay_t< A >... >;
};
template < class R, class T, class... A >
struct Signature< R ( T::* )( A... ) const > : Signature< R ( T::* )( A... ) > {};
template < class R, class T, class... A >
struct Signature< R ( T::* )( A... ) noexcept > : Signature< R ( T::* )( A... ) > {};
template < class R, class T, class... A >
struct Signature< R ( T::* )( A... ) const noexcept > : Signature< R ( T::* )( A... ) > {};

template < class V > struct Referred { using Type = V; };
template < class T > struct Referred< T* > { using Type = std::remove_const_t< T >; };
template < class T > struct Referred< Zet::Ptr< T > > { using Type = std::remove_const_t< T >; };

} // namespace Detail

// The types of an operation's arguments, by value, as a tuple.
template < auto Call >
using ArgumentsOf =
    typename Detail::Signature< std::remove_const_t< decltype( Call ) > >::Arguments;
template < auto Call >
using ResultOf = typename Detail::Signature< std::remove_const_t< decltype( Call ) > >::Result;

// The type of what an attribute reads as: of the value, or of the object referred to.
template < auto Get >
using ValueTypeOf = typename Detail::Referred< std::decay_t< ResultOf< Get > > >::Type;

namespace Detail {

template < class Map > struct KeyOfMap;
template < class M, class K > struct KeyOfMap< Zet::HashMap< M, K > > {
   using Key = K;
   using Map = Zet::HashMap< M, K >;
};

} // namespace Detail

// The key and the map of a collection, by its members.
template < auto Members >
using KeyOfMembers = Detail::KeyOfMap< std::decay_t< ResultOf< Members > > >;

template < class R > inline constexpr bool isReference = false;
template < auto G > inline constexpr bool isReference< Notify::WatchedReference< G > > = true;
template < auto G > inline constexpr bool isReference< Notify::HeldReference< G > > = true;

template < class R > inline constexpr bool isDerived = false;
template < auto G > inline constexpr bool isDerived< Notify::Derived< G > > = true;

// What is read and neither set nor called.
template < class R > inline constexpr bool isReadOnly = isReference< R > || isDerived< R >;
template < auto G > inline constexpr bool isReadOnly< Notify::Constant< G > > = true;

template < class R > inline constexpr bool isCollection = requires {
   R::members;
};

// How many objects a machine M is made from, and what they are called.
template < class M >
constexpr std::size_t
referenceCount() {
   std::size_t count = 0;
   Notify::forEachRow< M >( [ & ]< class R >( R const& ) { count += isReference< R >; } );
   return count;
}
template < class M >
constexpr std::array< std::string_view, referenceCount< M >() >
referenceNames() {
   std::array< std::string_view, referenceCount< M >() > names;
   std::size_t place = 0;
   Notify::forEachRow< M >( [ & ]< class R >( R const& row ) {
      if constexpr ( isReference< R > )
         names[ place++ ] = row.name;
   } );
   return names;
}

} // namespace Reflect
