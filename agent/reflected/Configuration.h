#pragma once

#include "adapters/notify/Description.h"

#include <type_traits>
#include <vector>

namespace Ufdd {

// The configuration of a T is, by its attribute rows: each value that can be set, and each
// collection of values. These match the row of a collection and of a value. A new attribute with
// such a row is configuration at once.
template < class R >
concept ConfiguredCollection = requires {
   R::set;
   R::members;
};
template < class R >
concept ConfiguredScalar = requires {
   R::set;
}
&&!ConfiguredCollection< R >;

// Calls visit( row ) for each attribute of the configuration of a T, in order.
template < class T, class Visit >
constexpr void
forEachConfigured( Visit visit ) {
   Notify::forEachRow< T >( [ & ]< class R >( R const& row ) {
      if constexpr ( requires { R::set; } )
         visit( row );
   } );
}

namespace Detail {

// The types of a setter's parameters.
template < class Set > struct Taken;
template < class T, class V > struct Taken< void ( T::* )( V ) > {
   using Value = std::decay_t< V >;
};
template < class T, class K, class V > struct Taken< void ( T::* )( K, V ) > {
   using Key = std::decay_t< K >;
   using Value = std::decay_t< V >;
};

} // namespace Detail

template < class R >
using ValueOf = typename Detail::Taken< std::remove_const_t< decltype( R::set ) > >::Value;
template < class R >
using KeyOf = typename Detail::Taken< std::remove_const_t< decltype( R::set ) > >::Key;

namespace Detail {

// Calls action( row, key, value ) for each member of the collections of `from`.
template < class T, class Action >
void
forEachMember( T const& from, Action action ) {
   forEachConfigured< T >( [ & ]< class R >( R const& row ) {
      if constexpr ( ConfiguredCollection< R > )
         ( from.*R::members )().forEach(
             [ & ]( auto const& member ) { action( row, member.zetKey(), member.value() ); } );
   } );
}

template < class T >
void
addMembers( T const& from, T& to ) {
   forEachMember( from, [ & ]< class R >( R const&, auto const& key, auto const& value ) {
      ( to.*R::set )( key, value );
   } );
}

template < class T >
void
removeMembers( T const& from, T& to ) {
   forEachConfigured< T >( [ & ]< class R >( R const& ) {
      if constexpr ( ConfiguredCollection< R > ) {
         std::vector< KeyOf< R > > superfluous;
         ( to.*R::members )().forEach( [ & ]( auto const& member ) {
            if ( !( from.*R::members )().find( member.zetKey() ) )
               superfluous.push_back( member.zetKey() );
         } );
         for ( auto const& key : superfluous )
            ( to.*R::del )( key );
      }
   } );
}

} // namespace Detail

// The order in which copyConfiguration() changes the target.
enum class CopyOrder {
   addFirst,    // Adds members, then sets values, then removes members.
   removeFirst, // Removes members, then sets values, then adds members.
};

// Makes the configuration of `to` equal to that of `from`. Equal parts are not touched.
template < class T >
void
copyConfiguration( T const& from, T& to, CopyOrder order ) {
   auto* const first =
       order == CopyOrder::addFirst ? Detail::addMembers< T > : Detail::removeMembers< T >;
   auto* const last =
       order == CopyOrder::addFirst ? Detail::removeMembers< T > : Detail::addMembers< T >;
   first( from, to );
   forEachConfigured< T >( [ & ]< class R >( R const& ) {
      if constexpr ( ConfiguredScalar< R > )
         ( to.*R::set )( ( from.*R::get )() );
   } );
   last( from, to );
}

// Returns true if the configuration of both is the same.
template < class T >
bool
isConfiguredAlike( T const& left, T const& right ) {
   bool isAlike = true;
   forEachConfigured< T >( [ & ]< class R >( R const& ) {
      if constexpr ( ConfiguredCollection< R > )
         isAlike &= ( left.*R::members )().count() == ( right.*R::members )().count();
      else
         isAlike &= ( left.*R::get )() == ( right.*R::get )();
   } );
   Detail::forEachMember( left, [ & ]< class R >( R const&, auto const& key, auto const& value ) {
      auto const* const member = ( right.*R::members )().find( key );
      isAlike &= member && member->value() == value;
   } );
   return isAlike;
}

} // namespace Ufdd
