#pragma once

#include "adapters/attrlog/EntityAdapter.h"
#include "model/GroupConfig.h"

namespace UplinkFailureDetection {

class ZET_EXPORT GroupConfig::ZetNboAttrLogSa : public AttrLog::EntityAdapter< GroupConfig > {
 public:
   class FlowOut;

   using EntityAdapter::EntityAdapter;
   static Zet::Ptr< ZetNboAttrLogSa >
   ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< GroupConfig > const& entity, unsigned int flags,
                      Zet::Ptr< Zet::NboAttrLog::Out > const& out, Zet::PtrInterface* owner );

   virtual void onIsNondestructing();
   virtual void onIntfsToMonitor( Kelnet::IntfId intfId );
   virtual void onIntfsToDisable( Kelnet::IntfId intfId );
   virtual void onMinLinks();
   using Handlers = std::tuple<
       AttrLog::HandlerOf< AttrLog::readNondestructing, &ZetNboAttrLogSa::onIsNondestructing >,
       AttrLog::HandlerOf< &GroupConfig::intfsToMonitor, &ZetNboAttrLogSa::onIntfsToMonitor >,
       AttrLog::HandlerOf< &GroupConfig::intfsToDisable, &ZetNboAttrLogSa::onIntfsToDisable >,
       AttrLog::HandlerOf< &GroupConfig::minLinks, &ZetNboAttrLogSa::onMinLinks > >;

   void zetHandleIntfsToMonitorSerializeSing( Kelnet::IntfId intfId, bool watched, bool deleted );
   bool zetHandleIntfsToMonitorSerializeColl();
   void zetHandleIntfsToDisableSerializeSing( Kelnet::IntfId intfId, bool flag, bool deleted );
   bool zetHandleIntfsToDisableSerializeColl();

 protected:
   ~ZetNboAttrLogSa() override;
};

class GroupConfig::ZetNboAttrLogSa::FlowOut final : public AttrLog::FlowOut< GroupConfig > {
 public:
   using AttrLog::FlowOut< GroupConfig >::FlowOut;
   void zetIsIsNondestructingDirtyIs( bool dirty ) {
      attributeDirtyIs< AttrLog::readNondestructing >( dirty );
   }
   void zetIsIntfsToMonitorDirtyIs( bool dirty ) {
      attributeDirtyIs< &GroupConfig::intfsToMonitor >( dirty );
   }
   void zetIsIntfsToDisableDirtyIs( bool dirty ) {
      attributeDirtyIs< &GroupConfig::intfsToDisable >( dirty );
   }
   void zetIsMinLinksDirtyIs( bool dirty ) { attributeDirtyIs< &GroupConfig::minLinks >( dirty ); }
};

} // namespace UplinkFailureDetection
