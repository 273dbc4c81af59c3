#pragma once

#include "adapters/notify/Enumeration.h"
#include "model/GroupLinkStatus.h"
#include "platform/zet/generic/GenericIf.h"
#include "platform/zet/generic/ValueIf.h"

#include <string_view>
#include <type_traits>

namespace Reflect {

using Interface = Zet::Ptr< Zet::GenericIf >;
using InterfaceConst = Zet::Ptr< Zet::GenericIf const >;

// The generic interface of one value of an enumeration. Its attributes are the enumerators. The
// number of an enumerator reads as that enumerator's value.
template < Notify::Enumeration E > class ZET_EXPORT EnumerationIf : public Zet::ValueIf< E > {
   using Base = Zet::ValueIf< E >;

 public:
   using Base::Base;
   Zet::String8 attributeString( Zet::AttributeId id ) const override {
      return Notify::isEnumerator< E >( id ) ? Notify::textOf( static_cast< E >( id ) )
                                             : Base::attributeString( id );
   }
   Zet::AttributeId attributeId( Zet::String8 name ) const override {
      for ( Zet::AttributeId id = 0; Notify::isEnumerator< E >( id ); ++id )
         if ( attributeString( id ) == name )
            return id;
      return Base::attributeId( std::move( name ) );
   }
   // Throws: Zet::GenericIfException `unknownAttribute`, the enumeration's name, for any other
   // number; `constInstance` for a change of a const instance; `opNotSupported` for any operation
   // but `get`; `badIndex` for a key.
   Interface attributeOp( Zet::GenericIf::AttributeOp const& op, InterfaceConst const& key,
                          Interface const& value ) override;
};

} // namespace Reflect

namespace UplinkFailureDetection {

// The generic interface of one GroupLinkStatus.
class ZET_EXPORT GroupLinkStatus_GenericIf_ : public Reflect::EnumerationIf< GroupLinkStatus > {
 public:
   using EnumerationIf::EnumerationIf;
};

} // namespace UplinkFailureDetection

namespace Reflect {

// The class of E's generic interfaces.
template < class E > struct InterfaceOf { using Type = EnumerationIf< E >; };
template <> struct InterfaceOf< UplinkFailureDetection::GroupLinkStatus > {
   using Type = UplinkFailureDetection::GroupLinkStatus_GenericIf_;
};

// Returns an interface of the object; null for no object. The interface is constant if the object
// was reached through a constant interface or is only ever read.
template < class T >
Interface
objectIf( T* object, bool isConst ) {
   using Plain = std::remove_const_t< T >;
   if ( !object )
      return nullptr;
   return object->fwkType()->genericIf(
       Zet::Ptr< Zet::PtrInterface >( const_cast< Plain* >( object ) ),
       isConst || std::is_const_v< T > );
}

// Returns an interface of a result.
template < class V >
[[gnu::always_inline]] inline Interface
resultIf( V value, bool isConst ) {
   return Zet::valueIf( std::move( value ), isConst );
}
template < class T >
Interface
resultIf( T* object, bool isConst ) {
   return objectIf( object, isConst );
}
template < class T >
Interface
resultIf( Zet::Ptr< T > const& object, bool isConst ) {
   return objectIf( object.get(), isConst );
}
template < Notify::Enumeration E >
Interface
resultIf( E value, bool isConst ) {
   return Zet::Reused< typename InterfaceOf< E >::Type >::newObject( value, isConst );
}

template < Notify::Enumeration E >
Interface
EnumerationIf< E >::attributeOp( Zet::GenericIf::AttributeOp const& op, InterfaceConst const& key,
                                 Interface const& ) {
   using Exception = Zet::GenericIfException;
   if ( this->modifies( op.operation ) && this->isConst() )
      Zet::throwGenericIfException( Exception::constInstance,
                                    "attempting to modify a const instance" );
   if ( !Notify::isEnumerator< E >( op.attribute ) )
      Zet::throwGenericIfException( Exception::unknownAttribute, Notify::Description< E >::name );
   if ( op.operation != Zet::GenericIf::get )
      Zet::throwGenericIfException( Exception::opNotSupported, attributeString( op.attribute ),
                                    op.operation );
   if ( key )
      Zet::throwGenericIfException( Exception::badIndex, attributeString( op.attribute ) );
   return resultIf( static_cast< E >( op.attribute ), this->isConst() );
}

// Returns an argument as a value of type V. `name` is the argument's, for the error.
// Throws: Zet::GenericIfException `type`; `constInstance` for an object that is to be written but
// is seen through a constant interface.
template < class V > struct ArgumentAs {
   static V value( Zet::GenericIf const* argument, std::string_view name ) {
      return Zet::valueOf< V >( argument, name );
   }
};
// Accepts a text or a number too.
template < Notify::Enumeration E > struct ArgumentAs< E > {
   static E value( Zet::GenericIf const* argument, std::string_view name ) {
      if ( !argument )
         return Zet::valueOf< E >( argument, name );
      if ( void const* const text = argument->zetValue( Zet::typeOf< Zet::String8 >() ) )
         return Notify::enumerator< E >( *static_cast< Zet::String8 const* >( text ) );
      if ( void const* const number = argument->zetValue( Zet::typeOf< unsigned int >() ) )
         return Notify::enumerator< E >( *static_cast< unsigned int const* >( number ) );
      return Zet::valueOf< E >( argument, name );
   }
};
template < class T > struct ArgumentAs< Zet::Ptr< T > > {
   static Zet::Ptr< T > value( Zet::GenericIf const* argument, std::string_view name ) {
      auto const type = std::remove_const_t< T >::_fwkType();
      if ( !argument || !argument->zetType()->isA( *type ) )
         Zet::throwGenericIfException( Zet::GenericIfException::type, name );
      if ( argument->isConst() && !std::is_const_v< T > )
         Zet::throwGenericIfException( Zet::GenericIfException::constInstance,
                                       "attempting to modify a const instance" );
      return static_cast< T* >( argument->zetObject( *type ).get() );
   }
};
// Valid until: the interface that holds the object is dropped.
template < class T > struct ArgumentAs< T* > {
   static T* value( Zet::GenericIf const* argument, std::string_view name ) {
      return ArgumentAs< Zet::Ptr< T > >::value( argument, name ).get();
   }
};

} // namespace Reflect
