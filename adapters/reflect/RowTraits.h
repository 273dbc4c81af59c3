#pragma once

#include "adapters/notify/Description.h"
#include "adapters/notify/Signature.h"
#include "platform/zet/Ptr.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace Reflect {

namespace Detail {

template < class V > struct Referred { using Type = V; };
template < class T > struct Referred< T* > { using Type = std::remove_const_t< T >; };
template < class T > struct Referred< Zet::Ptr< T > > { using Type = std::remove_const_t< T >; };

} // namespace Detail

// The type that an attribute reads as: of the value, or of the object referred to.
template < auto Get >
using ValueTypeOf = typename Detail::Referred< std::decay_t< Notify::ResultOf< Get > > >::Type;

template < class R > inline constexpr bool isReference = false;
template < auto G > inline constexpr bool isReference< Notify::WatchedReference< G > > = true;
template < auto G > inline constexpr bool isReference< Notify::HeldReference< G > > = true;

template < class R > inline constexpr bool isDerivedKey = false;
template < auto G > inline constexpr bool isDerivedKey< Notify::DerivedKey< G > > = true;

// True if the attribute can be read, but neither set nor called.
template < class R > inline constexpr bool isReadOnly = isReference< R > || isDerivedKey< R >;
template < auto G > inline constexpr bool isReadOnly< Notify::Derived< G > > = true;
template < auto G > inline constexpr bool isReadOnly< Notify::Constant< G > > = true;

template < class R > inline constexpr bool isCollection = requires {
   R::members;
};

// True if the attribute is one number or truth that is passed by value.
template < class R > inline constexpr bool isOfNumber = false;
template < class R >
requires isReadOnly< R >
inline constexpr bool isOfNumber< R > = std::is_arithmetic_v< ValueTypeOf< R::get > >;
template < auto G, auto Set, auto OnChange >
inline constexpr bool isOfNumber< Notify::Scalar< G, Set, OnChange > > =
    std::is_arithmetic_v< ValueTypeOf< G > >&& Notify::takesValues< Set >;

// The constructor argument of an entity.
inline constexpr std::string_view entityArgument = "name";

// Visits the references of a machine M to objects of that type.
template < class M, class Object, class Visit >
constexpr void
forEachReferenceTo( Visit visit ) {
   Notify::forEachRow< M >( [ & ]< class R >( R const& row ) {
      if constexpr ( isReference< R > )
         if constexpr ( std::is_same_v< ValueTypeOf< R::get >, Object > )
            visit( row );
   } );
}

namespace Detail {

template < class M, class Object >
constexpr std::string_view
referenceName() {
   constexpr int times = [] {
      int count = 0;
      forEachReferenceTo< M, Object >( [ & ]( auto const& ) { ++count; } );
      return count;
   }();
   static_assert( times == 1, "a machine has one reference row for each type it is made from" );
   std::string_view name;
   forEachReferenceTo< M, Object >( [ & ]( auto const& row ) { name = row.name; } );
   return name;
}

template < class M, class Arguments > struct ReferenceNames;
template < class M, class... A > struct ReferenceNames< M, std::tuple< A... > > {
   static constexpr std::array names{ referenceName< M, typename Referred< A >::Type >()... };
};

} // namespace Detail

// The argument names of `Is`, which makes a machine M. The type of an argument determines its name.
template < class M, auto Is >
inline constexpr auto const& referenceNames =
    Detail::ReferenceNames< M, Notify::ArgumentsOf< Is > >::names;

} // namespace Reflect
