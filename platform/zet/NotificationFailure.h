#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Export.h"
#include "platform/zet/String8.h"

#include <functional>

namespace Zet {

class PtrInterface;

// An exception that left a handler and went no further.
struct NotificationFailure {
   String8 entity;    // The full name of the changed entity; its type's name when it has none.
   String8 attribute; // The name of the changed attribute.
   String8 text;      // What the exception says.
};

// Where isolated failures go: a line on standard error unless the host sets another sink. An
// empty sink restores that line. Owns: the sink, until it is replaced, which it may be from inside;
// the last one is never destroyed. What it throws is not reported but for one line on standard
// error.
ZET_EXPORT void
notificationFailureSinkIs( std::function< void( NotificationFailure const& ) > sink );

// Hands the exception being handled to the sink. Outside of a catch clause there is none, which
// the text of the failure then says.
ZET_EXPORT void handleNotificationFailure( PtrInterface const& entity, AttributeId id ) noexcept;

} // namespace Zet
