#pragma once

#include "adapters/notify/Signature.h"
#include "platform/zet/AttributeId.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Notify {

// The description of a type, stated once, beside the type: its names and one row per attribute.
//
//    template <> struct Notify::Description< GroupStatus > {
//       static constexpr std::string_view nameSpace = "UplinkFailureDetection";
//       static constexpr std::string_view name = "GroupStatus";
//       static constexpr std::tuple attributes{
//           Scalar< &T::numTimesDisabled, &T::numTimesDisabledIs, &N::onNumTimesDisabled >{
//               259, "numTimesDisabled" },
//           ... };
//    };
//
// Code that treats all attributes alike is an engine over these rows. The reader names the
// attribute: rows are looked up by their readers, and the reader's value type is the attribute's.
template < class T > struct Description;

// The mistakes that the rows of a type can have. None of these is ever defined. The compiler's one
// line of error names the mistake and the attribute's reader, and so the type whose Description is
// wrong.
namespace Fault {
template < auto Attribute > struct NoRowInDescription;
template < auto Attribute > struct IdOrReaderOfAnotherRow;
template < auto Attribute, auto Operation > struct SetterOfAnotherType;
template < auto Attribute, auto Operation > struct HandlerOfAnotherKey;
template < auto Attribute, auto Operation > struct OperationOfAnotherKey;
template < auto Attribute > struct ParametersNotNamedInRow;
} // namespace Fault

// Does not compile unless `Holds` is true.
template < bool Holds, class Fault >
constexpr bool
holds() {
   if constexpr ( !Holds )
      return sizeof( Fault ) != 0;
   return true;
}

template < auto Operation, class... Argument >
inline constexpr bool takes = std::is_same_v< ArgumentsOf< Operation >, std::tuple< Argument... > >;
template < class... Argument > inline constexpr bool takes< nullptr, Argument... > = true;

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

// One value that can be set. For a state machine, which notifies nobody, the handler is null.
template < auto Get, auto Set, auto OnChange > struct Scalar : Notified< Get, OnChange > {
   using Notified< Get, OnChange >::Notified;
   static constexpr auto set = Set;
   static_assert( holds< takes< Set, std::decay_t< ResultOf< Get > > >,
                         Fault::SetterOfAnotherType< Get, Set > >() );
   static_assert( holds< takes< OnChange >, Fault::HandlerOfAnotherKey< Get, OnChange > >() );
};

// A value that is the same for every entity of the type. No entity stores it.
template < auto Get > struct Constant : Read< Get > { using Read< Get >::Read; };

// A value that is computed from others.
template < auto Get > struct Derived : Read< Get > { using Read< Get >::Read; };
// A computed value that is also the key under which a collection keeps a machine of the type.
template < auto Get > struct DerivedKey : Read< Get > { using Read< Get >::Read; };

// An object that a state machine was made from, watched through a reactor or merely held. A
// machine's references are its constructor's arguments. The machine tells them apart by their
// types.
template < auto Get > struct WatchedReference : Read< Get > { using Read< Get >::Read; };
template < auto Get > struct HeldReference : Read< Get > { using Read< Get >::Read; };

// An operation, with a name for each of its parameters.
template < auto Call > struct Function : Read< Call > {
   static constexpr std::size_t arity = std::tuple_size_v< ArgumentsOf< Call > >;
   template < class... Name >
   constexpr Function( Zet::AttributeId i, std::string_view n, Name... parameter )
       : Read< Call >( i, n ), parameters{ parameter... } {
      static_assert(
          holds< sizeof...( Name ) == arity, Fault::ParametersNotNamedInRow< Call > >() );
   }
   std::array< std::string_view, arity > parameters;
};

// The common part of the keyed collections: Members() returns the members, Del( key ) removes one.
template < auto Get, auto Members, auto Del, auto OnChange >
struct Collection : Notified< Get, OnChange > {
   using Notified< Get, OnChange >::Notified;
   using Map = std::decay_t< ResultOf< Members > >;
   using Member = typename Map::Member;
   using Key = typename Map::Key;
   static constexpr auto members = Members;
   static constexpr auto del = Del;
   static_assert( holds< takes< Get, Key >, Fault::OperationOfAnotherKey< Get, Get > >() );
   static_assert( holds< takes< Del, Key >, Fault::OperationOfAnotherKey< Get, Del > >() );
   static_assert( holds< takes< OnChange, Key >, Fault::HandlerOfAnotherKey< Get, OnChange > >() );
};

// One value per key. The handler is told the key. Set( key, value ) adds or changes a value.
template < auto Get, auto Members, auto Set, auto Del, auto OnChange >
struct ValueCollectionRow : Collection< Get, Members, Del, OnChange > {
   using Base = Collection< Get, Members, Del, OnChange >;
   using Base::Base;
   static constexpr auto set = Set;
   static_assert( holds< takes< Set, typename Base::Key, std::decay_t< ResultOf< Get > > >,
                         Fault::SetterOfAnotherType< Get, Set > >() );
};

// One member entity per name. The handler is told the name. Is( name ) gets or makes a member.
template < auto Get, auto Members, auto Is, auto Del, auto OnChange >
struct EntityCollectionRow : Collection< Get, Members, Del, OnChange > {
   using Collection< Get, Members, Del, OnChange >::Collection;
   static constexpr auto is = Is;
};

// One state machine per key. Nobody is notified of it. Is( arguments ) gets or makes a member.
template < auto Get, auto Members, auto Is, auto Del >
struct MachineCollectionRow : Collection< Get, Members, Del, nullptr > {
   using Collection< Get, Members, Del, nullptr >::Collection;
   static constexpr auto is = Is;
};

// One state machine that the entity owns. Is( arguments ) gets or makes it, Del() drops it.
template < auto Get, auto Is, auto Del, auto OnChange >
struct InstantiatingRow : Notified< Get, OnChange > {
   using Notified< Get, OnChange >::Notified;
   static constexpr auto is = Is;
   static constexpr auto del = Del;
};

// Picks the reader for a constant entity from its overloads.
template < class T, class Value, class... Key >
constexpr auto
reader( Value ( T::*get )( Key... ) const ) {
   return get;
}

// Picks the operation that takes these arguments from its overloads.
template < class... Argument, class T, class Result >
constexpr auto
operation( Result ( T::*call )( Argument... ) ) {
   return call;
}

// Picks the handler that takes a key of this type from its overloads.
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

// Stands for a reader as a type. Two readers are the same if their Identity types are the same.
// Comparing readers as values is not always constant.
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

// Returns how many rows have that id.
template < class... R >
constexpr int
rowsWith( Zet::AttributeId id, std::tuple< R... > const& rows ) {
   return std::apply( [ id ]( auto const&... row ) { return ( int( row.id == id ) + ... ); },
                      rows );
}

// Returns true if the row at that place has an id and a reader of its own.
template < class T, std::size_t Place >
constexpr bool
isDistinct() {
   constexpr auto const& rows = Description< T >::attributes;
   constexpr auto const& row = std::get< Place >( rows );
   constexpr bool distinct = indexOf< row.get >( rows ) == Place && rowsWith( row.id, rows ) == 1;
   return holds< distinct, Fault::IdOrReaderOfAnotherRow< row.get > >();
}

template < class T, std::size_t... Place >
constexpr bool
rowsAreDistinct( std::index_sequence< Place... > ) {
   return ( isDistinct< T, Place >() && ... );
}

} // namespace Detail

// Returns the row of the attribute that `Get` reads. Does not compile when there is none.
template < class T, auto Get >
constexpr auto const&
rowOf() {
   constexpr auto const& rows = Description< T >::attributes;
   constexpr std::size_t count = std::tuple_size_v< std::decay_t< decltype( rows ) > >;
   constexpr std::size_t index = Detail::indexOf< Get >( rows );
   static_assert( Detail::rowsAreDistinct< T >( std::make_index_sequence< count >() ) );
   static_assert( holds< ( index < count ), Fault::NoRowInDescription< Get > >() );
   return std::get< ( index < count ? index : 0 ) >( rows );
}

// Returns the type's name space; empty for a type that states none.
template < class T >
constexpr std::string_view
nameSpaceOf() {
   if constexpr ( requires { Description< T >::nameSpace; } )
      return Description< T >::nameSpace;
   else
      return {};
}

// Returns the name of the attribute of that id; empty when T has none.
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
