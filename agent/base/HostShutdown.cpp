#include "agent/base/HostShutdown.h"

#include "platform/zet/Clock.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <system_error>

namespace Ufdd {

namespace {

constexpr double patience = 1; // In seconds.

struct Answer {
   bool hasCome = false;
   int error = 0;
   bool isStopping = false;
};

int
check( int result ) {
   if ( result < 0 )
      throw std::system_error( -result, std::generic_category(),
                               "can't ask whether the host is shutting down" );
   return result;
}

int
handleAnswer( sd_bus_message* message, void* data, sd_bus_error* ) {
   auto& answer = *static_cast< Answer* >( data );
   answer.hasCome = true;
   answer.error = sd_bus_message_get_errno( message );
   char const* state = "";
   if ( answer.error == 0 )
      answer.error = -std::min( sd_bus_message_read( message, "v", "s", &state ), 0 );
   answer.isStopping = std::strcmp( state, "stopping" ) == 0;
   return 0;
}

} // namespace

// Never uses sd_bus_call(): until the bus has greeted us, that waits without a limit of ours.
bool
isHostStopping() {
   double const end = Zet::now() + patience;
   sd_bus* opened = nullptr;
   check( sd_bus_open_system( &opened ) );
   std::unique_ptr< sd_bus, sd_bus* (*)( sd_bus* ) > const bus( opened, sd_bus_close_unref );
   Answer answer;
   check( sd_bus_call_method_async( bus.get(), nullptr, "org.freedesktop.systemd1",
                                    "/org/freedesktop/systemd1", "org.freedesktop.DBus.Properties",
                                    "Get", handleAnswer, &answer, "ss",
                                    "org.freedesktop.systemd1.Manager", "SystemState" ) );
   while ( !answer.hasCome ) {
      double const left = end - Zet::now();
      if ( left <= 0 )
         check( -ETIMEDOUT );
      if ( check( sd_bus_process( bus.get(), nullptr ) ) == 0 )
         check( sd_bus_wait( bus.get(), static_cast< std::uint64_t >( left * 1e6 ) ) );
   }
   check( -answer.error );
   return answer.isStopping;
}

} // namespace Ufdd
