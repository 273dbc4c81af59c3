#include "adapters/reflect/Operations.h"

namespace Reflect {

void
throwNotSupported( std::string_view attribute, unsigned int operation ) {
   Zet::throwGenericIfException( Zet::GenericIfException::opNotSupported, attribute, operation );
}

void
throwBadIndex( std::string_view attribute ) {
   Zet::throwGenericIfException( Zet::GenericIfException::badIndex, attribute );
}

Zet::GenericIf::List_ const&
argumentList( InterfaceConst const& list, std::size_t most, std::string_view attribute ) {
   using Exception = Zet::GenericIfException;
   if ( !list )
      Zet::throwGenericIfException( Exception::type, "Zet::GenericIf::List_" );
   auto const* const arguments = dynamic_cast< Zet::GenericIf::List_ const* >( list.get() );
   if ( !arguments )
      Zet::throwGenericIfException( Exception::type, "List" );
   if ( arguments->elements().size() > most )
      Zet::throwGenericIfException( Exception::unknownArgument, attribute );
   return *arguments;
}

} // namespace Reflect
