#pragma once

#include "platform/zet/AttributeId.h"

#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Notify {

// What a type states of itself, once, beside the type: its short name and one row per attribute.
//
//    template <> struct Notify::Description< GroupStatus > {
//       static constexpr std::string_view name = "GroupStatus";
//       static constexpr std::tuple attributes{
//           Scalar< &T::numTimesDisabled, &T::numTimesDisabledIs, &N::onNumTimesDisabled >{
//               259, "numTimesDisabled" },
//           ... };
//    };
//
// Everything that treats attributes alike is an engine over these rows. The reader names the
// attribute: a row is looked up by it, and its value type is that of the attribute.
template < class T > struct Description;

struct Row {
   Zet::AttributeId id;
   std::string_view name;
};

template < auto Get > struct Read : Row {
   constexpr Read( Zet::AttributeId i, std::string_view n ) : Row{ i, n } {}
   static constexpr auto get = Get;
   static constexpr auto handler = nullptr;
};

template < auto Get, auto OnChange > struct Notified : Read< Get > {
   using Read< Get >::Read;
   static constexpr auto handler = OnChange;
};

// One value that can be set.
template < auto Get, auto Set, auto OnChange > struct Scalar : Notified< Get, OnChange > {
   using Notified< Get, OnChange >::Notified;
   static constexpr auto set = Set;
};

// The same for every entity of the type, and not stored in it.
template < auto Get > struct Constant : Read< Get > { using Read< Get >::Read; };

// A value per key; a handler is told the key. Set( key, value ) adds or changes, Del( key )
// removes.
template < auto Get, auto Set, auto Del, auto OnChange >
struct ValueCollectionRow : Notified< Get, OnChange > {
   using Notified< Get, OnChange >::Notified;
   static constexpr auto set = Set;
   static constexpr auto del = Del;
};

// A member entity per name; a handler is told the name. Is( name ) gets or makes a member.
template < auto Get, auto Is, auto Del, auto OnChange >
struct EntityCollectionRow : Notified< Get, OnChange > {
   using Notified< Get, OnChange >::Notified;
   static constexpr auto is = Is;
   static constexpr auto del = Del;
};

// One object that the entity owns and makes from arguments.
template < auto Get, auto Is, auto Del, auto OnChange >
struct InstantiatingRow : Notified< Get, OnChange > {
   using Notified< Get, OnChange >::Notified;
   static constexpr auto is = Is;
   static constexpr auto del = Del;
};

// Picks the reader from its overloads: the one for a constant entity.
template < class T, class Value, class... Key >
constexpr auto
reader( Value ( T::*get )( Key... ) const ) {
   return get;
}

// Picks the handler that takes a key of that type from its overloads.
template < class Key, class N >
constexpr auto
keyed( void ( N::*handler )( Key ) ) {
   return handler;
}

// Calls visit( row ) for each row of T in order.
template < class T, class Visit >
constexpr void
forEachRow( Visit visit ) {
   std::apply( [ & ]( auto const&... row ) { ( visit( row ), ... ); },
               Description< T >::attributes );
}

namespace Detail {

// Two readers are the same when this is the same type; comparing them as values is not always
// constant.
template < auto Get > struct Identity;

template < auto Get, class... R >
constexpr std::size_t
indexOf( std::tuple< R... > const& ) {
   constexpr bool found[] = { std::is_same_v< Identity< R::get >, Identity< Get > >... };
   for ( std::size_t index = 0; index < sizeof...( R ); ++index )
      if ( found[ index ] )
         return index;
   return sizeof...( R );
}

template < class T >
constexpr bool
idsAreDistinct() {
   bool distinct = true;
   forEachRow< T >( [ & ]( auto const& row ) {
      int times = 0;
      forEachRow< T >( [ & ]( auto const& other ) { times += row.id == other.id; } );
      distinct = distinct && times == 1;
   } );
   return distinct;
}

} // namespace Detail

// The row of the attribute that `Get` reads. One that has no row does not compile.
template < class T, auto Get >
constexpr auto const&
rowOf() {
   static_assert( Detail::idsAreDistinct< T >(), "two attributes have the same id" );
   constexpr std::size_t index = Detail::indexOf< Get >( Description< T >::attributes );
   static_assert( index < std::tuple_size_v< decltype( Description< T >::attributes ) >,
                  "the attribute has no row in its type's description" );
   return std::get< index >( Description< T >::attributes );
}

// The name of the attribute of that id; empty when T has none.
template < class T >
constexpr std::string_view
attributeName( Zet::AttributeId id ) {
   std::string_view name;
   forEachRow< T >( [ & ]( auto const& row ) {
      if ( row.id == id )
         name = row.name;
   } );
   return name;
}

} // namespace Notify
