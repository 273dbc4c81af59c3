#pragma once

#include "platform/zet/String8.h"

namespace Zet {

// The two ends of a flow that somebody asked for; empty paths for one that is the writer's own.
struct ConnectDesc {
   String8 localPath;
   String8 remotePath;
};

} // namespace Zet
