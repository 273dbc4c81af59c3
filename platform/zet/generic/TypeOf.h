#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/String8.h"
#include "platform/zet/ZetType.h"

namespace Zet {

// Stands in introspection for a type of the language: Zet::Builtin<bool> and so on.
template < class T > class ZET_EXPORT Builtin {
 public:
   static Ptr< ZetType const > _fwkType();
};

// The descriptor of a value type: T's own, unless T has no room for one.
template < class T > struct TypeOf {
   static Ptr< ZetType const > type() requires requires { T::_fwkType(); }
   { return T::_fwkType(); }
};
template < class T > inline constexpr bool hasTypeOf = requires {
   TypeOf< T >::type();
};

template <> struct TypeOf< bool > : TypeOf< Builtin< bool > > {};
template <> struct TypeOf< unsigned int > : TypeOf< Builtin< unsigned int > > {};
template <> struct TypeOf< double > : TypeOf< Builtin< double > > {};
// What a function that returns nothing is said to return.
template <> struct TypeOf< void > : TypeOf< Builtin< void* > > {};
template <> struct ZET_EXPORT TypeOf< Name > { static Ptr< ZetType const > type(); };

// What typeOf() returned; null before.
template < class T > inline constinit ZetType const* knownTypeOf = nullptr;

// The same, uncounted: descriptors stay.
template < class T >
ZetType const&
typeOf() {
   if ( !knownTypeOf< T > ) [[unlikely]]
      knownTypeOf< T > = TypeOf< T >::type().get();
   return *knownTypeOf< T >;
}

// How a type is called where arguments are listed: "bool", "Zet::Name".
template < class T >
Name
argumentTypeName() {
   if constexpr ( std::is_same_v< T, bool > )
      return "bool";
   else
      return TypeOf< T >::type()->fullName();
}

} // namespace Zet
