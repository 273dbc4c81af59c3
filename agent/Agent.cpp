#include "agent/Agent.h"

namespace Ufdd {

Agent::Agent( LinkControl& control, Ownership& ownership, Log& log )
    : links_( detector_.directory ), holder_( detector_, links_, control, ownership, log ),
      groupLog_( detector_, links_, log ) {
   links_.observerIs( holder_ );
}

void
Agent::start( std::vector< GroupSettings > const& groups, LinkSource& source ) {
   for ( GroupSettings const& group : groups ) {
      for ( auto uplink = group.config->intfsToMonitorIteratorConst(); uplink; ++uplink )
         links_.watch( uplink.key() );
      for ( auto port = group.config->intfsToDisableIteratorConst(); port; ++port )
         links_.watch( port.key() );
   }
   holder_.beginAdoption();
   source.start( links_ );
   holder_.endAdoption();
   detector_.configure( groups );
   detector_.start();
   settle();
}

} // namespace Ufdd
