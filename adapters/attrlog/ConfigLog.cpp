#include "adapters/attrlog/ConfigLog.h"

#include "adapters/attrlog/Attach.h"

template class Notify::LoggedEntity< UplinkFailureDetection::Config >;

namespace UplinkFailureDetection {

Config::ZetNboAttrLogSa::~ZetNboAttrLogSa() = default;

Zet::Ptr< Config::ZetNboAttrLogSa >
Config::ZetNboAttrLogSa::ZetNboAttrLogSaIs( Zet_BitSet mask, Zet::Ptr< Config > const& entity,
                                            unsigned int flags,
                                            Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                                            Zet::PtrInterface* owner ) {
   return AttrLog::newAdapter< Config >( mask, entity, flags, out, owner );
}

} // namespace UplinkFailureDetection
