#pragma once

#include "agent/status/StatusReplica.h"
#include "platform/zet/attrlog/Demuxer.h"

namespace Ufdd {

// A copy of the roots within this process, updated only by follow(). A change of an original costs
// one record of the attribute log, however many clients are served from the copy.
class StatusCopy {
 public:
   explicit StatusCopy( StatusRoots const& originals );

   // Applies all changes of the originals since the last call.
   void follow();
   StatusRoots const& roots() const { return replica_.roots(); }

 private:
   // In bytes: changes beyond it are kept as marks on what has changed.
   static constexpr std::size_t changesLimit = 1 << 16;

   StatusReplica replica_;
   Zet::Ptr< Zet::NboAttrLog::Demuxer > const demuxer_;
};

} // namespace Ufdd
