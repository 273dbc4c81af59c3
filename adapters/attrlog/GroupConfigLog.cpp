#include "adapters/attrlog/GroupConfigLog.h"

#include "adapters/attrlog/Attach.h"

template class Notify::LoggedEntity< UplinkFailureDetection::GroupConfig >;

namespace UplinkFailureDetection {

using GroupConfigAdapter = GroupConfig::ZetNboAttrLogSa;

GroupConfigAdapter::~ZetNboAttrLogSa() = default;

Zet::Ptr< GroupConfigAdapter >
GroupConfigAdapter::ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< GroupConfig > const& entity,
                                       unsigned int flags,
                                       Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                                       Zet::PtrInterface* owner ) {
   return AttrLog::newAdapter< GroupConfig >( mask, entity, flags, out, owner );
}

void
GroupConfigAdapter::onIsNondestructing() {
   changed< place< AttrLog::readNondestructing > >();
}

void
GroupConfigAdapter::onIntfsToMonitor( Kelnet::IntfId intfId ) {
   changed< place< &GroupConfig::intfsToMonitor > >( intfId );
}

void
GroupConfigAdapter::onIntfsToDisable( Kelnet::IntfId intfId ) {
   changed< place< &GroupConfig::intfsToDisable > >( intfId );
}

void
GroupConfigAdapter::onMinLinks() {
   changed< place< &GroupConfig::minLinks > >();
}

void
GroupConfigAdapter::zetHandleIntfsToMonitorSerializeSing( Kelnet::IntfId intfId, bool watched,
                                                          bool deleted ) {
   serializeSing< place< &GroupConfig::intfsToMonitor > >( intfId, watched, deleted );
}

bool
GroupConfigAdapter::zetHandleIntfsToMonitorSerializeColl() {
   return serializeColl< place< &GroupConfig::intfsToMonitor > >();
}

void
GroupConfigAdapter::zetHandleIntfsToDisableSerializeSing( Kelnet::IntfId intfId, bool flag,
                                                          bool deleted ) {
   serializeSing< place< &GroupConfig::intfsToDisable > >( intfId, flag, deleted );
}

bool
GroupConfigAdapter::zetHandleIntfsToDisableSerializeColl() {
   return serializeColl< place< &GroupConfig::intfsToDisable > >();
}

} // namespace UplinkFailureDetection
