#include "platform/interface/EthIntfStatus.h"

namespace Interface {

EthIntfStatus::~EthIntfStatus() {
   notifiees_.deleteAll();
}

Zet::Ptr< EthIntfStatus >
EthIntfStatus::EthIntfStatusIs( Kelnet::IntfId intfId ) {
   return Zet::make< EthIntfStatus >( intfId );
}

void
EthIntfStatus::operStatusIs( OperStatus status ) {
   if ( status == operStatus_ )
      return;
   operStatus_ = status;
   notify< &EthIntfStatus::operStatus >();
}

} // namespace Interface
