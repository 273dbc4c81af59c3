#pragma once

#include "adapters/attrlog/GroupCollectionLog.h"
#include "adapters/attrlog/GroupConfigLog.h"
#include "model/Config.h"

namespace UplinkFailureDetection {

class ZET_EXPORT Config::ZetNboAttrLogSa : public GroupCollectionLog< Config > {
 public:
   using GroupCollectionLog::GroupCollectionLog;
   static Zet::Ptr< ZetNboAttrLogSa >
   ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< Config > const& entity, unsigned int flags,
                      Zet::Ptr< Zet::NboAttrLog::Out > const& out, Zet::PtrInterface* owner );

 protected:
   ~ZetNboAttrLogSa() override;
};

} // namespace UplinkFailureDetection
