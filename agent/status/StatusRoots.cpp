#include "agent/status/StatusRoots.h"

namespace Ufdd {

using UplinkFailureDetection::Status;

StatusRoots
StatusRoots::make() {
   return { UplinkFailureDetection::configFactory( "config" ),
            UplinkFailureDetection::statusFactory( "status" ), Zet::make< State >( "state" ) };
}

StatusRoots::Entities
StatusRoots::askedFor( std::string_view type ) const {
   if ( type == State::_fwkType()->fullName().view() )
      return all();
   if ( type == Status::_fwkType()->fullName().view() )
      return { status };
   return {};
}

} // namespace Ufdd
