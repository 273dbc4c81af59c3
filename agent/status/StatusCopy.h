#pragma once

#include "agent/status/StatusReplica.h"
#include "model/Status.h"
#include "platform/zet/attrlog/Demuxer.h"

namespace Ufdd {

// A copy of a Status within this process, updated only by follow(). A change of the original costs
// one record of the attribute log, however many clients are served from the copy.
class StatusCopy {
 public:
   explicit StatusCopy( Zet::Ptr< UplinkFailureDetection::Status > const& original );

   // Applies all changes of the original since the last call.
   void follow();
   Zet::Ptr< UplinkFailureDetection::Status > const& status() const { return replica_.status(); }

 private:
   // In bytes: changes beyond it are kept as marks on what has changed.
   static constexpr std::size_t changesLimit = 1 << 16;

   StatusReplica replica_;
   Zet::Ptr< Zet::NboAttrLog::Demuxer > const demuxer_;
};

} // namespace Ufdd
