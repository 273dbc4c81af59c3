#include "platform/zet/NotificationFailure.h"

#include "platform/zet/Entity.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/ZetType.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <utility>

namespace Zet {

namespace {

using Sink = std::function< void( NotificationFailure const& ) >;

// Shared with who is telling it: a sink may be replaced from inside.
std::shared_ptr< Sink const >&
sink() {
   // Never destroyed: static objects still fail when the process ends.
   static auto& sink = *new std::shared_ptr< Sink const >;
   return sink;
}

String8
textOfCurrentException() {
   if ( !std::current_exception() )
      return "no exception is being handled";
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
   sink() = replacement ? std::make_shared< Sink const >( std::move( replacement ) ) : nullptr;
}

void
handleNotificationFailure( PtrInterface const& object, AttributeId id ) noexcept {
   try {
      NotificationFailure const failure = failureOf( object, id );
      if ( std::shared_ptr< Sink const > const told = sink() )
         ( *told )( failure );
      else
         std::cerr << failure.entity << ": a handler of " << failure.attribute
                   << " failed: " << failure.text << '\n';
   } catch ( ... ) {
      // Memory may be short. fprintf takes none.
      std::fprintf( stderr, "a handler of attribute %d failed, and reporting that failed too\n",
                    static_cast< int >( id ) );
   }
}

} // namespace Zet
