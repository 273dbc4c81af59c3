#include "platform/zet/NotificationFailure.h"

#include "platform/zet/Entity.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/ZetType.h"

#include <exception>
#include <iostream>

namespace Zet {

namespace {

using Sink = std::function< void( NotificationFailure const& ) >;

Sink&
sink() {
   static Sink sink;
   return sink;
}

String8
textOfCurrentException() {
   try {
      throw;
   } catch ( std::exception const& failure ) {
      return failure.what();
   } catch ( ... ) {
      return "an exception of unknown type";
   }
}

String8
attributeName( Entity const& entity, AttributeId id ) {
   std::string_view const framework = frameworkAttributeName( id );
   return framework.empty() ? entity.attributeString( id ) : String8( framework );
}

NotificationFailure
failureOf( PtrInterface const& object, AttributeId id ) {
   if ( auto const* entity = dynamic_cast< Entity const* >( &object ) )
      return { entity->fullName(), attributeName( *entity, id ), textOfCurrentException() };
   return { object.fwkType()->name(), "attribute " + String8( std::to_string( id ) ),
            textOfCurrentException() };
}

} // namespace

void
notificationFailureSinkIs( Sink replacement ) {
   sink() = std::move( replacement );
}

void
handleNotificationFailure( PtrInterface const& object, AttributeId id ) noexcept {
   NotificationFailure const failure = failureOf( object, id );
   if ( sink() )
      sink()( failure );
   else
      std::cerr << failure.entity << ": a handler of " << failure.attribute
                << " failed: " << failure.text << '\n';
}

} // namespace Zet
