#pragma once

#include "adapters/notify/Description.h"
#include "platform/zet/types/ZetAttr.h"

#include <type_traits>

namespace Reflect {

// The flags of one kind of attribute in introspection.
struct KindFlags {
   Zet::ZetAttr::AttrFlags flags;
   unsigned int introspection;
};

namespace Kind {

using Introspection = Zet::ZetAttr::ZetAttrIntrospectionFlags;
constexpr unsigned int independent = Introspection::isIndependentDomainAttr;
constexpr unsigned int function = Introspection::isFunction;
constexpr unsigned int indexed = Introspection::hasInternalIndex;

// The attributes that every type of a kind has.
constexpr KindFlags isNondestructing{ { 0x00002043, 0x01000000 }, 0 };
constexpr KindFlags isNondestructingUnlogged{ { 0x00002043, 0x00000000 }, 0 };
constexpr KindFlags hasAttrLogInterface{ { 0x00022001, 0x00000400 }, function };
constexpr KindFlags key{ { 0x00200001, 0x00000400 }, 0 };
constexpr KindFlags activity{ { 0x08000001, 0x00000400 }, 0 };
constexpr KindFlags machineFunction{ { 0x00000001, 0x00000400 }, 0 };
constexpr KindFlags enumerator{ { 0x00020001, 0x40200400 }, 0 };

} // namespace Kind

// The flags of each kind of row.
template < class R >
inline constexpr KindFlags flagsOf = [] {
   static_assert( !std::is_same_v< R, R >, "this kind of row has no flags; state them here" );
   return KindFlags{};
}();
template < auto G, auto S, auto H >
inline constexpr KindFlags flagsOf< Notify::Scalar< G, S, H > > =
    std::is_null_pointer_v< decltype( H ) >
        ? KindFlags{ { 0x00220103, 0x00000400 }, Kind::independent }
        : KindFlags{ { 0x00220143, 0x01000400 }, Kind::independent };
template < auto G >
inline constexpr KindFlags flagsOf< Notify::Constant< G > > = { { 0x00220001, 0x40000410 }, 0 };
template < auto G >
inline constexpr KindFlags flagsOf< Notify::Derived< G > > = { { 0x00220001, 0x00000400 }, 0 };
template < auto G >
inline constexpr KindFlags flagsOf< Notify::DerivedKey< G > > = flagsOf< Notify::Derived< G > >;
template < auto G >
inline constexpr KindFlags flagsOf< Notify::WatchedReference< G > > = { { 0x08220109, 0x00000400 },
                                                                        Kind::independent };
template < auto G >
inline constexpr KindFlags flagsOf< Notify::HeldReference< G > > = { { 0x08220109, 0x40000400 },
                                                                     Kind::independent };
template < auto C >
inline constexpr KindFlags flagsOf< Notify::Function< C > > = {
   { 0x00020001, 0x00000400 }, Notify::Function< C >::arity == 0 ? Kind::function : 0
};
template < auto G, auto M, auto S, auto D, auto H >
inline constexpr KindFlags flagsOf< Notify::ValueCollectionRow< G, M, S, D, H > > = {
   { 0x01a20143, 0x01000400 }, Kind::independent
};
template < auto G, auto M, auto I, auto D, auto H >
inline constexpr KindFlags flagsOf< Notify::EntityCollectionRow< G, M, I, D, H > > = {
   { 0x09a20143, 0x11000400 }, Kind::indexed | Kind::independent
};
template < auto G, auto M, auto I, auto D >
inline constexpr KindFlags flagsOf< Notify::MachineCollectionRow< G, M, I, D > > = {
   { 0x09a20103, 0x10000400 }, Kind::indexed | Kind::independent
};
template < auto G, auto I, auto D, auto H >
inline constexpr KindFlags flagsOf< Notify::InstantiatingRow< G, I, D, H > > = {
   { 0x08220143, 0x10000400 }, 0
};

} // namespace Reflect
