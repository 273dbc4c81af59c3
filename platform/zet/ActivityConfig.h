#pragma once

#include "platform/zet/PtrInterface.h"

namespace Zet {

// What a deferred notification would run on. Nothing here defers any, so nobody makes one.
class ZET_EXPORT ActivityConfig : public PtrInterface {};

} // namespace Zet
