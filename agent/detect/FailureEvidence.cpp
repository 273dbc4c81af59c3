#include "agent/detect/FailureEvidence.h"

namespace Ufdd {

FailureEvidence::Finding
FailureEvidence::about( UplinkFailureDetection::GroupConfig const& group, double now ) const {
   unsigned int up = 0, unproven = 0;
   for ( auto uplink = group.intfsToMonitorIteratorConst(); uplink; ++uplink )
      if ( auto const* const interface = directory_.intfStatus( uplink.key() ) )
         up += interface->operStatus() == Interface::OperStatus::up;
      else
         unproven += !history_.hasExisted( uplink.key() );
   Finding finding{ .leftAlone = {}, .mayChange = unproven > 0 };
   if ( double const end = history_.firstStart() + startupHold_;
        now < end && !history_.wasUp( group.name() ) )
      finding.leftAlone = { WaitReason::startupHold, end };
   else if ( unproven > 0 && up + unproven >= group.minLinks() )
      finding.leftAlone = { WaitReason::unproven };
   return finding;
}

} // namespace Ufdd
