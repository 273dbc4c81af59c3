#include "model/Status.h"

namespace UplinkFailureDetection {

Status::~Status() {
   groupsEnd();
}

Zet::Ptr< Status >
Status::StatusIs( Zet::Name name ) {
   return Zet::validPtr( Zet::make< Status >( std::move( name ) ) );
}

Zet::Ptr< Status >
statusFactory( Zet::Name name ) {
   return Status::StatusIs( std::move( name ) );
}

} // namespace UplinkFailureDetection
