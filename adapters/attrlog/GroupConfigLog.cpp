#include "adapters/attrlog/GroupConfigLog.h"

#include "adapters/attrlog/Attach.h"

template class Notify::LoggedEntity< UplinkFailureDetection::GroupConfig >;

namespace UplinkFailureDetection {

using Adapter = GroupConfig::ZetNboAttrLogSa;

Adapter::~ZetNboAttrLogSa() = default;

Zet::Ptr< Adapter >
Adapter::ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< GroupConfig > const& entity,
                            unsigned int flags, Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                            Zet::PtrInterface* owner ) {
   return AttrLog::newAdapter< GroupConfig >( mask, entity, flags, out, owner );
}

void
Adapter::onIsNondestructing() {
   changed< place< AttrLog::readNondestructing > >();
}

void
Adapter::onIntfsToMonitor( Kelnet::IntfId intfId ) {
   changed< place< &GroupConfig::intfsToMonitor > >( intfId );
}

void
Adapter::onIntfsToDisable( Kelnet::IntfId intfId ) {
   changed< place< &GroupConfig::intfsToDisable > >( intfId );
}

void
Adapter::onMinLinks() {
   changed< place< &GroupConfig::minLinks > >();
}

void
Adapter::zetHandleIntfsToMonitorSerializeSing( Kelnet::IntfId intfId, bool watched, bool deleted ) {
   serializeSing< place< &GroupConfig::intfsToMonitor > >( intfId, watched, deleted );
}

bool
Adapter::zetHandleIntfsToMonitorSerializeColl() {
   return serializeColl< place< &GroupConfig::intfsToMonitor > >();
}

void
Adapter::zetHandleIntfsToDisableSerializeSing( Kelnet::IntfId intfId, bool flag, bool deleted ) {
   serializeSing< place< &GroupConfig::intfsToDisable > >( intfId, flag, deleted );
}

bool
Adapter::zetHandleIntfsToDisableSerializeColl() {
   return serializeColl< place< &GroupConfig::intfsToDisable > >();
}

} // namespace UplinkFailureDetection
