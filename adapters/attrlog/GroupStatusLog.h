#pragma once

#include "adapters/attrlog/EntityAdapter.h"
#include "model/GroupStatus.h"

template <>
struct AttrLog::Codec< UplinkFailureDetection::GroupLinkStatus >
    : AttrLog::EnumCodec< UplinkFailureDetection::GroupLinkStatus,
                          &UplinkFailureDetection::GroupLinkStatusInstance > {};

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
   static constexpr std::tuple handlers{ &ZetNboAttrLogSa::onIsNondestructing,
                                         &ZetNboAttrLogSa::onGroupLinkStatus,
                                         &ZetNboAttrLogSa::onNumTimesDisabled,
                                         &ZetNboAttrLogSa::onPrevDisabledTime };

 protected:
   ~ZetNboAttrLogSa() override;
};

class GroupStatus::ZetNboAttrLogSa::FlowOut final : public AttrLog::FlowOut< GroupStatus > {
 public:
   using AttrLog::FlowOut< GroupStatus >::FlowOut;
   void zetIsIsNondestructingDirtyIs( bool dirty ) { dirtyIs< 0 >( dirty ); }
   void zetIsGroupLinkStatusDirtyIs( bool dirty ) { dirtyIs< 1 >( dirty ); }
   void zetIsNumTimesDisabledDirtyIs( bool dirty ) { dirtyIs< 2 >( dirty ); }
   void zetIsPrevDisabledTimeDirtyIs( bool dirty ) { dirtyIs< 3 >( dirty ); }
};

} // namespace UplinkFailureDetection
