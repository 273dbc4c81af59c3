#pragma once

#include "platform/zet/String8.h"

namespace Zet {

// The two ends of a flow that somebody requested. Both paths are empty for the writer's own flow.
struct ConnectDesc {
   String8 localPath;
   String8 remotePath;
};

} // namespace Zet
