#pragma once

#include "adapters/attrlog/GroupCollectionLog.h"
#include "adapters/attrlog/GroupStatusLog.h"
#include "model/Status.h"

namespace UplinkFailureDetection {

class ZET_EXPORT Status::ZetNboAttrLogSa : public GroupCollectionLog< Status > {
 public:
   using GroupCollectionLog::GroupCollectionLog;
   static Zet::Ptr< ZetNboAttrLogSa >
   ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< Status > const& entity, unsigned int flags,
                      Zet::Ptr< Zet::NboAttrLog::Out > const& out, Zet::PtrInterface* owner );

 protected:
   ~ZetNboAttrLogSa() override;
};

} // namespace UplinkFailureDetection
