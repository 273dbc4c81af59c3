#include "model/GroupLinkStatus.h"

#include <ostream>

namespace UplinkFailureDetection {

Zet::String8
stringValue( GroupLinkStatus status ) {
   return Notify::textOf( status );
}

std::ostream&
operator<<( std::ostream& stream, GroupLinkStatus const& status ) {
   return stream << stringValue( status );
}

Zet::String8
valueToStrep( GroupLinkStatus const& status ) {
   return Zet::valueToStrep( stringValue( status ) );
}

GroupLinkStatus
GroupLinkStatusInstance( Zet::String8 text ) {
   return Notify::enumerator< GroupLinkStatus >( text );
}

GroupLinkStatus
GroupLinkStatusInstance( unsigned int number ) {
   return Notify::enumerator< GroupLinkStatus >( number );
}

GroupLinkStatus
sequenceToValue( Zet::String8::IteratorConst& at, Zet::String8::IteratorConst const& end,
                 GroupLinkStatus* ) {
   return GroupLinkStatusInstance(
       Zet::sequenceToValue( at, end, static_cast< Zet::String8 const* >( nullptr ) ) );
}

} // namespace UplinkFailureDetection
