#pragma once

#include "adapters/attrlog/EntityAdapter.h"
#include "model/GroupStatus.h"

namespace UplinkFailureDetection {

class ZET_EXPORT GroupStatus::ZetNboAttrLogSa : public AttrLog::EntityAdapter< GroupStatus > {
 public:
   class FlowOut;

   using EntityAdapter::EntityAdapter;
   static Zet::Ptr< ZetNboAttrLogSa >
   ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< GroupStatus > const& entity, unsigned int flags,
                      Zet::Ptr< Zet::NboAttrLog::Out > const& out, Zet::PtrInterface* owner );

   virtual void onIsNondestructing();
   virtual void onGroupLinkStatus();
   virtual void onNumTimesDisabled();
   virtual void onPrevDisabledTime();
   using Handlers = std::tuple<
       AttrLog::HandlerOf< AttrLog::readNondestructing, &ZetNboAttrLogSa::onIsNondestructing >,
       AttrLog::HandlerOf< &GroupStatus::groupLinkStatus, &ZetNboAttrLogSa::onGroupLinkStatus >,
       AttrLog::HandlerOf< &GroupStatus::numTimesDisabled, &ZetNboAttrLogSa::onNumTimesDisabled >,
       AttrLog::HandlerOf< &GroupStatus::prevDisabledTime, &ZetNboAttrLogSa::onPrevDisabledTime > >;

 protected:
   ~ZetNboAttrLogSa() override;
};

class GroupStatus::ZetNboAttrLogSa::FlowOut final : public AttrLog::FlowOut< GroupStatus > {
 public:
   using AttrLog::FlowOut< GroupStatus >::FlowOut;
   void zetIsIsNondestructingDirtyIs( bool dirty ) {
      attributeDirtyIs< AttrLog::readNondestructing >( dirty );
   }
   void zetIsGroupLinkStatusDirtyIs( bool dirty ) {
      attributeDirtyIs< &GroupStatus::groupLinkStatus >( dirty );
   }
   void zetIsNumTimesDisabledDirtyIs( bool dirty ) {
      attributeDirtyIs< &GroupStatus::numTimesDisabled >( dirty );
   }
   void zetIsPrevDisabledTimeDirtyIs( bool dirty ) {
      attributeDirtyIs< &GroupStatus::prevDisabledTime >( dirty );
   }
};

} // namespace UplinkFailureDetection
