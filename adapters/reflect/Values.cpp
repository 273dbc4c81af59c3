#include "adapters/reflect/Values.h"

namespace UplinkFailureDetection {

namespace {

bool
isEnumerator( Zet::AttributeId id ) {
   return id >= 0 && static_cast< std::size_t >( id ) <
                         Notify::Description< GroupLinkStatus >::enumerators.size();
}

} // namespace

Zet::String8
GroupLinkStatus_GenericIf_::attributeString( Zet::AttributeId id ) const {
   return isEnumerator( id ) ? stringValue( static_cast< GroupLinkStatus >( id ) )
                             : ValueIf::attributeString( id );
}

Zet::AttributeId
GroupLinkStatus_GenericIf_::attributeId( Zet::String8 name ) const {
   for ( Zet::AttributeId id = 0; isEnumerator( id ); ++id )
      if ( attributeString( id ) == name )
         return id;
   return ValueIf::attributeId( std::move( name ) );
}

Zet::Ptr< Zet::GenericIf >
GroupLinkStatus_GenericIf_::attributeOp( AttributeOp const& op,
                                         Zet::Ptr< Zet::GenericIf const > const& key,
                                         Zet::Ptr< Zet::GenericIf > const& ) {
   using Exception = Zet::GenericIfException;
   if ( modifies( op.operation ) && isConst() )
      Zet::throwGenericIfException( Exception::constInstance,
                                    "attempting to modify a const instance" );
   if ( !isEnumerator( op.attribute ) )
      Zet::throwGenericIfException( Exception::unknownAttribute, "GroupLinkStatus" );
   if ( op.operation != get )
      Zet::throwGenericIfException( Exception::opNotSupported, attributeString( op.attribute ),
                                    op.operation );
   if ( key )
      Zet::throwGenericIfException( Exception::badIndex, attributeString( op.attribute ) );
   return Reflect::resultIf( static_cast< GroupLinkStatus >( op.attribute ), isConst() );
}

} // namespace UplinkFailureDetection

namespace Reflect {

UplinkFailureDetection::GroupLinkStatus
ArgumentAs< UplinkFailureDetection::GroupLinkStatus >::value( Zet::GenericIf const* argument,
                                                              std::string_view name ) {
   using namespace UplinkFailureDetection;
   if ( argument ) {
      if ( void const* const text = argument->zetValue( *Zet::TypeOf< Zet::String8 >::type() ) )
         return GroupLinkStatusInstance( *static_cast< Zet::String8 const* >( text ) );
      if ( void const* const number = argument->zetValue( *Zet::TypeOf< unsigned int >::type() ) )
         return GroupLinkStatusInstance( *static_cast< unsigned int const* >( number ) );
   }
   return Zet::valueOf< GroupLinkStatus >( argument, name );
}

} // namespace Reflect
