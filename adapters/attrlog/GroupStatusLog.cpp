#include "adapters/attrlog/GroupStatusLog.h"

#include "adapters/attrlog/Attach.h"

template class Notify::LoggedEntity< UplinkFailureDetection::GroupStatus >;

namespace UplinkFailureDetection {

using GroupStatusAdapter = GroupStatus::ZetNboAttrLogSa;

GroupStatusAdapter::~ZetNboAttrLogSa() = default;

Zet::Ptr< GroupStatusAdapter >
GroupStatusAdapter::ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< GroupStatus > const& entity,
                                       unsigned int flags,
                                       Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                                       Zet::PtrInterface* owner ) {
   return AttrLog::newAdapter< GroupStatus >( mask, entity, flags, out, owner );
}

void
GroupStatusAdapter::onIsNondestructing() {
   changed< place< AttrLog::readNondestructing > >();
}

void
GroupStatusAdapter::onGroupLinkStatus() {
   changed< place< &GroupStatus::groupLinkStatus > >();
}

void
GroupStatusAdapter::onNumTimesDisabled() {
   changed< place< &GroupStatus::numTimesDisabled > >();
}

void
GroupStatusAdapter::onPrevDisabledTime() {
   changed< place< &GroupStatus::prevDisabledTime > >();
}

} // namespace UplinkFailureDetection
