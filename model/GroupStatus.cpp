#include "model/GroupStatus.h"

namespace UplinkFailureDetection {

GroupStatus::~GroupStatus() {
   notifiees_.deleteAll();
}

Zet::Ptr< GroupStatus >
GroupStatus::GroupStatusIs( Zet::Name name ) {
   return Zet::validPtr( Zet::make< GroupStatus >( std::move( name ) ) );
}

void
GroupStatus::groupLinkStatusIs( GroupLinkStatus status ) {
   if ( status == groupLinkStatus_ )
      return;
   groupLinkStatus_ = status;
   notify< &GroupStatus::groupLinkStatus >();
}

void
GroupStatus::numTimesDisabledIs( unsigned int times ) {
   if ( times == numTimesDisabled_ )
      return;
   numTimesDisabled_ = times;
   notify< &GroupStatus::numTimesDisabled >();
}

unsigned int
GroupStatus::numTimesDisabledInc( unsigned int times ) {
   unsigned int const sum = numTimesDisabled_ + times;
   numTimesDisabledIs( sum );
   return sum;
}

void
GroupStatus::prevDisabledTimeIs( double const& time ) {
   if ( time == prevDisabledTime_ )
      return;
   prevDisabledTime_ = time;
   notify< &GroupStatus::prevDisabledTime >();
}

} // namespace UplinkFailureDetection
