#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/NotifieeConst.h"

namespace Zet {

// A notifiee that turns what it hears into a stream.
class ZET_EXPORT StreamAdapter : public PtrInterface::NotifieeConst {
 public:
   bool isStreamAdapter() const override { return true; }
};

// The reactor of an entity's attribute log. Its notifiee is told of a change before all others.
class ZET_EXPORT Entity::ZetNboAttrLogSa : public StreamAdapter {};

} // namespace Zet
