#pragma once

#include "adapters/notify/Description.h"
#include "adapters/reflect/RowTraits.h"
#include "adapters/reflect/Values.h"

#include <span>
#include <tuple>
#include <utility>

namespace Reflect {

[[noreturn]] ZET_EXPORT void throwNotSupported( std::string_view attribute,
                                                unsigned int operation );
[[noreturn]] ZET_EXPORT void throwBadIndex( std::string_view attribute );

// A requested operation on one attribute.
struct Request {
   unsigned int operation;
   InterfaceConst const& key;
   Interface const& value;
   bool isConst;
   std::string_view attribute;

   // Inlined, so that the request is never written to memory.
   [[noreturn, gnu::always_inline]] void notSupported() const {
      throwNotSupported( attribute, operation );
   }
   [[gnu::always_inline]] void requireNoKey() const {
      if ( key ) [[unlikely]]
         throwBadIndex( attribute );
   }
   template < class V > [[gnu::always_inline]] V keyAs() const {
      return ArgumentAs< V >::value( key.get(), attribute );
   }
   template < class V > [[gnu::always_inline]] V valueAs() const {
      return ArgumentAs< V >::value( value.get(), attribute );
   }
   template < class V > [[gnu::always_inline]] Interface result( V result ) const {
      return resultIf( std::move( result ), isConst );
   }
};

// Calls the operation with the arguments of those names.
template < auto Call, class T >
decltype( auto )
callWith( T& object, Zet::GenericIf::List_ const& list,
          std::span< std::string_view const > names ) {
   using Arguments = Notify::ArgumentsOf< Call >;
   return [ & ]< std::size_t... Place >( std::index_sequence< Place... > )->decltype( auto ) {
      // Braces fix the order, so that the error names the first wrong argument.
      Arguments arguments{ ArgumentAs< std::tuple_element_t< Place, Arguments > >::value(
          list.element( names[ Place ] ).get(), names[ Place ] )... };
      return ( object.*Call )( std::move( std::get< Place >( arguments ) )... );
   }
   ( std::make_index_sequence< std::tuple_size_v< Arguments > >() );
}

// The operations of each kind of attribute.

template < class T, auto Get >
Interface
read( T& object, Notify::Read< Get > const&, Request const& request ) {
   if ( request.operation != Zet::GenericIf::get )
      request.notSupported();
   request.requireNoKey();
   return request.result( ( object.*Get )() );
}

template < class T, auto Get, auto Set, auto OnChange >
Interface
operate( T& object, Notify::Scalar< Get, Set, OnChange > const& row, Request const& request ) {
   if ( request.operation != Zet::GenericIf::set )
      return read( object, row, request );
   request.requireNoKey();
   ( object.*Set )( request.valueAs< ValueTypeOf< Get > >() );
   return nullptr;
}
template < class T, class R >
requires isReadOnly< R > Interface
operate( T& object, R const& row, Request const& request ) {
   return read( object, row, request );
}

template < class T, auto Call >
Interface
operate( T& object, Notify::Function< Call > const& row, Request const& request ) {
   if ( request.operation != Zet::GenericIf::get )
      request.notSupported();
   auto const& list = Zet::argumentList( request.key, row.arity, row.name );
   if constexpr ( !std::is_void_v< Notify::ResultOf< Call > > )
      return request.result( callWith< Call >( object, list, row.parameters ) );
   callWith< Call >( object, list, row.parameters );
   return nullptr;
}

// The operations that all collections have.
template < class T, class R >
Interface
operateOnMembers( T& object, R const&, Request const& request ) {
   using Key = typename R::Key;
   auto const& members = ( object.*R::members )();
   switch ( request.operation ) {
   case Zet::GenericIf::count:
      return request.result( static_cast< unsigned int >( members.count() ) );
   case Zet::GenericIf::version:
      return request.result( members.version() );
   case Zet::GenericIf::has:
      return request.result( members.find( request.keyAs< Key >() ) != nullptr );
   case Zet::GenericIf::del:
      return request.result( ( object.*R::del )( request.keyAs< Key >() ) );
   default:
      request.notSupported();
   }
}

template < class T, auto Get, auto Members, auto Set, auto Del, auto OnChange >
Interface
operate( T& object, Notify::ValueCollectionRow< Get, Members, Set, Del, OnChange > const& row,
         Request const& request ) {
   using Key = typename std::decay_t< decltype( row ) >::Key;
   if ( request.operation == Zet::GenericIf::get )
      return request.result( ( object.*Get )( request.keyAs< Key >() ) );
   if ( request.operation != Zet::GenericIf::set )
      return operateOnMembers( object, row, request );
   auto const key = request.keyAs< Key >();
   ( object.*Set )( key, request.valueAs< ValueTypeOf< Get > >() );
   return nullptr;
}

template < class T, auto Get, auto Members, auto Is, auto Del, auto OnChange >
Interface
operate( T& object, Notify::EntityCollectionRow< Get, Members, Is, Del, OnChange > const& row,
         Request const& request ) {
   if ( request.operation == Zet::GenericIf::get )
      return request.result( ( object.*Members )().find( request.keyAs< Zet::Name >() ) );
   if ( request.operation != Zet::GenericIf::set )
      return operateOnMembers( object, row, request );
   request.requireNoKey();
   return request.result( callWith< Is >( object, Zet::argumentList( request.value, 1, row.name ),
                                          std::span( &entityArgument, 1 ) ) );
}

// Makes a machine of type M from the list of its references.
template < class M, auto Is, class T >
Interface
instantiate( T& object, Request const& request ) {
   request.requireNoKey();
   constexpr auto const& names = referenceNames< M, Is >;
   return request.result( callWith< Is >(
       object, Zet::argumentList( request.value, names.size(), request.attribute ), names ) );
}

template < class T, auto Get, auto Members, auto Is, auto Del >
Interface
operate( T& object, Notify::MachineCollectionRow< Get, Members, Is, Del > const& row,
         Request const& request ) {
   using Key = typename std::decay_t< decltype( row ) >::Key;
   if ( request.operation == Zet::GenericIf::get )
      return request.result( ( object.*Get )( request.keyAs< Key >() ) );
   if ( request.operation != Zet::GenericIf::set )
      return operateOnMembers( object, row, request );
   return instantiate< ValueTypeOf< Get >, Is >( object, request );
}

template < class T, auto Get, auto Is, auto Del, auto OnChange >
Interface
operate( T& object, Notify::InstantiatingRow< Get, Is, Del, OnChange > const& row,
         Request const& request ) {
   if ( request.operation == Zet::GenericIf::set )
      return instantiate< ValueTypeOf< Get >, Is >( object, request );
   if ( request.operation != Zet::GenericIf::del )
      return read( object, row, request );
   request.requireNoKey();
   return request.result( ( object.*Del )() );
}

} // namespace Reflect
