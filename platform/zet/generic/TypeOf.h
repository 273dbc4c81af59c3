#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/String8.h"
#include "platform/zet/ZetType.h"

namespace Zet {

// Stands for a built-in type of the language in introspection: Zet::Builtin<bool> and so on.
template < class T > class ZET_EXPORT Builtin {
 public:
   static Ptr< ZetType const > _fwkType();
};

// The descriptor of a value type: T's own, if T has one.
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
// The result type that introspection gives a function that returns nothing.
template <> struct TypeOf< void > : TypeOf< Builtin< void* > > {};
template <> struct ZET_EXPORT TypeOf< Name > { static Ptr< ZetType const > type(); };

// The result of typeOf(); null before its first call.
template < class T > inline constinit ZetType const* knownTypeOf = nullptr;

namespace Detail {

template < class T >
[[gnu::noinline]] void
knowTypeOf() {
   knownTypeOf< T > = TypeOf< T >::type().get();
}

} // namespace Detail

// Returns the descriptor without counting a reference: descriptors live for ever.
template < class T >
[[gnu::always_inline]] inline ZetType const&
typeOf() {
   if ( !knownTypeOf< T > ) [[unlikely]]
      Detail::knowTypeOf< T >();
   return *knownTypeOf< T >;
}

// Returns the name of the type in lists of arguments: "bool", "Zet::Name".
template < class T >
Name
argumentTypeName() {
   if constexpr ( std::is_same_v< T, bool > )
      return "bool";
   else
      return TypeOf< T >::type()->fullName();
}

} // namespace Zet
