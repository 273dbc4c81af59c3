#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Export.h"
#include "platform/zet/String8.h"

#include <functional>

namespace Zet {

class PtrInterface;

// An exception that left a handler and was stopped there.
struct NotificationFailure {
   String8 entity;    // The full name of the changed entity; its type's name when it has none.
   String8 attribute; // The name of the changed attribute.
   String8 text;      // What the exception says.
};

// Sets the sink for isolated failures. An empty sink restores the first: a line on standard error.
// An exception from a sink causes one line on standard error and is not reported otherwise.
// Owns: the sink, until it is replaced, even from inside of the sink. The last sink is never
// destroyed.
ZET_EXPORT void
notificationFailureSinkIs( std::function< void( NotificationFailure const& ) > sink );

// Hands the exception that is being handled to the sink. Outside of a catch clause there is no
// exception; the text of the failure then says so.
ZET_EXPORT void handleNotificationFailure( PtrInterface const& entity, AttributeId id ) noexcept;

} // namespace Zet
