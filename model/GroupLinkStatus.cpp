#include "model/GroupLinkStatus.h"

#include "platform/zet/Exception.h"
#include "platform/zet/Strep.h"

#include <ostream>

namespace UplinkFailureDetection {

namespace {

constexpr auto const& texts = Notify::Description< GroupLinkStatus >::enumerators;

} // namespace

Zet::String8
stringValue( GroupLinkStatus status ) {
   auto const number = static_cast< std::uint32_t >( status );
   if ( number < texts.size() )
      return texts[ number ];
   return "GroupLinkStatus(" + std::to_string( static_cast< std::int32_t >( number ) ) + ")";
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
   for ( unsigned int number = 0; number < texts.size(); ++number )
      if ( text == texts[ number ] )
         return static_cast< GroupLinkStatus >( number );
   Zet::throwRangeException( "GroupLinkStatus" );
}

GroupLinkStatus
GroupLinkStatusInstance( unsigned int number ) {
   if ( number >= texts.size() )
      Zet::throwRangeException( "GroupLinkStatus" );
   return static_cast< GroupLinkStatus >( number );
}

GroupLinkStatus
sequenceToValue( Zet::String8::IteratorConst& at, Zet::String8::IteratorConst const& end,
                 GroupLinkStatus* ) {
   return GroupLinkStatusInstance(
       Zet::sequenceToValue( at, end, static_cast< Zet::String8 const* >( nullptr ) ) );
}

} // namespace UplinkFailureDetection
