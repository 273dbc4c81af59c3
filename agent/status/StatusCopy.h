#pragma once

#include "agent/status/StatusReplica.h"
#include "model/Status.h"
#include "platform/zet/attrlog/Demuxer.h"

namespace Ufdd {

// A copy of a Status of this process, which follows when it is told to. A change of the original
// costs one record, however many clients are served from the copy.
class StatusCopy {
 public:
   explicit StatusCopy( Zet::Ptr< UplinkFailureDetection::Status > const& original );

   // Takes over all changes of the original.
   void follow();
   Zet::Ptr< UplinkFailureDetection::Status > const& status() const { return replica_.status(); }

 private:
   // Changes beyond that are kept as marks.
   static constexpr std::size_t changesLimit = 1 << 16;

   StatusReplica replica_;
   Zet::Ptr< Zet::NboAttrLog::Demuxer > const demuxer_;
};

} // namespace Ufdd
