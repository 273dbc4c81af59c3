#pragma once

#include <tuple>
#include <type_traits>

namespace Notify {

namespace Detail {

template < class F > struct Signature;
template < class R, class T, class... A > struct Signature< R ( T::* )( A... ) > {
   using Result = R;
   using Arguments = std::tuple< std::decay_t< A >... >;
   static constexpr bool takesValues = !( std::is_reference_v< A > || ... );
};
template < class R, class T, class... A >
struct Signature< R ( T::* )( A... ) const > : Signature< R ( T::* )( A... ) > {};
template < class R, class T, class... A >
struct Signature< R ( T::* )( A... ) noexcept > : Signature< R ( T::* )( A... ) > {};
template < class R, class T, class... A >
struct Signature< R ( T::* )( A... ) const noexcept > : Signature< R ( T::* )( A... ) > {};

} // namespace Detail

// The types of an operation's arguments, by value and as a tuple, and of its result.
template < auto Call >
using ArgumentsOf =
    typename Detail::Signature< std::remove_const_t< decltype( Call ) > >::Arguments;
template < auto Call >
using ResultOf = typename Detail::Signature< std::remove_const_t< decltype( Call ) > >::Result;

// True if the operation takes each of its arguments by value.
template < auto Call >
inline constexpr bool takesValues =
    Detail::Signature< std::remove_const_t< decltype( Call ) > >::takesValues;

} // namespace Notify
