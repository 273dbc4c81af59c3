#include "platform/errdisable/CauseStatus.h"

namespace Errdisable {

CauseStatus::~CauseStatus() {
   notifiees_.deleteAll();
}

Zet::Ptr< CauseStatus >
CauseStatus::CauseStatusIs( Zet::Name name ) {
   return Zet::make< CauseStatus >( std::move( name ) );
}

void
CauseStatus::intfStatusIs( Kelnet::IntfId intfId, double const& time ) {
   intfStatus_.valueIs( *this, intfId, time );
}

bool
CauseStatus::intfStatusDel( Kelnet::IntfId intfId ) {
   return intfStatus_.del( *this, intfId ) != nullptr;
}

void
CauseStatus::intfStatusNotify( Kelnet::IntfId intfId, Zet::Ptr< ZetIntfStatus > const& ) {
   notify< &CauseStatus::intfStatus >( intfId );
}

} // namespace Errdisable
