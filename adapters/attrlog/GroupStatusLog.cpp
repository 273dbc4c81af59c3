#include "adapters/attrlog/GroupStatusLog.h"

#include "adapters/attrlog/Attach.h"

template class Notify::LoggedEntity< UplinkFailureDetection::GroupStatus >;

namespace UplinkFailureDetection {

using Adapter = GroupStatus::ZetNboAttrLogSa;

Adapter::~ZetNboAttrLogSa() = default;

Zet::Ptr< Adapter >
Adapter::ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< GroupStatus > const& entity,
                            unsigned int flags, Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                            Zet::PtrInterface* owner ) {
   return AttrLog::newAdapter< GroupStatus >( mask, entity, flags, out, owner );
}

void
Adapter::onIsNondestructing() {
   changed< place< AttrLog::readNondestructing > >();
}

void
Adapter::onGroupLinkStatus() {
   changed< place< &GroupStatus::groupLinkStatus > >();
}

void
Adapter::onNumTimesDisabled() {
   changed< place< &GroupStatus::numTimesDisabled > >();
}

void
Adapter::onPrevDisabledTime() {
   changed< place< &GroupStatus::prevDisabledTime > >();
}

} // namespace UplinkFailureDetection
