#pragma once

#include "model/GroupLinkStatus.h"
#include "platform/zet/generic/GenericIf.h"
#include "platform/zet/generic/ValueIf.h"

#include <string_view>
#include <type_traits>

namespace UplinkFailureDetection {

// The generic interface of one GroupLinkStatus. Its attributes are the enumerators. The number of
// an enumerator reads as that enumerator's value.
class ZET_EXPORT GroupLinkStatus_GenericIf_ : public Zet::ValueIf< GroupLinkStatus > {
 public:
   using ValueIf::ValueIf;
   Zet::String8 attributeString( Zet::AttributeId id ) const override;
   Zet::AttributeId attributeId( Zet::String8 name ) const override;
   // Throws: Zet::GenericIfException `unknownAttribute` "GroupLinkStatus" for any other number.
   Zet::Ptr< Zet::GenericIf > attributeOp( AttributeOp const& op,
                                           Zet::Ptr< Zet::GenericIf const > const& key,
                                           Zet::Ptr< Zet::GenericIf > const& value ) override;
};

} // namespace UplinkFailureDetection

namespace Reflect {

using Interface = Zet::Ptr< Zet::GenericIf >;
using InterfaceConst = Zet::Ptr< Zet::GenericIf const >;

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
inline Interface
resultIf( UplinkFailureDetection::GroupLinkStatus value, bool isConst ) {
   return Zet::Reused< UplinkFailureDetection::GroupLinkStatus_GenericIf_ >::newObject( value,
                                                                                        isConst );
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
template <> struct ZET_EXPORT ArgumentAs< UplinkFailureDetection::GroupLinkStatus > {
   static UplinkFailureDetection::GroupLinkStatus value( Zet::GenericIf const* argument,
                                                         std::string_view name );
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
// Borrows: the interface holds the object.
template < class T > struct ArgumentAs< T* > {
   static T* value( Zet::GenericIf const* argument, std::string_view name ) {
      return ArgumentAs< Zet::Ptr< T > >::value( argument, name ).get();
   }
};

} // namespace Reflect
