#pragma once

#include "adapters/notify/Description.h"
#include "adapters/notify/LoggedEntity.h"
#include "platform/zet/Entity.h"

#include <tuple>
#include <type_traits>

namespace Reflect {

template < class T > inline constexpr bool isEntity = std::is_base_of_v< Zet::Entity, T >;
// True if attribute logs replicate T.
template < class T >
inline constexpr bool hasAttributeLog = std::is_base_of_v< Notify::LoggedEntity< T >, T >;
// True if T is a member of a keyed collection.
template < class T > inline constexpr bool hasKey = requires( T const& member ) {
   member.zetKey();
};

namespace Detail {

template < class T >
constexpr auto
logRows() {
   if constexpr ( hasAttributeLog< T > ) {
      constexpr auto id = Zet::hasAttrLogInterfaceAttributeId;
      return std::tuple(
          Notify::Function< &T::zetHasAttrLogInterface >( id, Zet::frameworkAttributeName( id ) ) );
   } else {
      return std::tuple();
   }
}

template < class T >
constexpr auto
keyRows() {
   if constexpr ( hasKey< T > ) {
      constexpr auto id = Zet::keyAttributeId;
      return std::tuple( Notify::Derived< &T::zetKey >( id, Zet::frameworkAttributeName( id ) ) );
   } else {
      return std::tuple();
   }
}

} // namespace Detail

// T's rows, and a row for each attribute of the framework that T has and other types lack.
template < class T >
inline constexpr auto reflectedRows = std::tuple_cat( Notify::Description< T >::attributes,
                                                      Detail::logRows< T >(),
                                                      Detail::keyRows< T >() );

} // namespace Reflect
