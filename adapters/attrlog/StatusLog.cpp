#include "adapters/attrlog/StatusLog.h"

#include "adapters/attrlog/Attach.h"

template class Notify::LoggedEntity< UplinkFailureDetection::Status >;

namespace UplinkFailureDetection {

Status::ZetNboAttrLogSa::~ZetNboAttrLogSa() = default;

Zet::Ptr< Status::ZetNboAttrLogSa >
Status::ZetNboAttrLogSa::ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< Status > const& entity,
                                            unsigned int flags,
                                            Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                                            Zet::PtrInterface* owner ) {
   return AttrLog::newAdapter< Status >( mask, entity, flags, out, owner );
}

} // namespace UplinkFailureDetection
