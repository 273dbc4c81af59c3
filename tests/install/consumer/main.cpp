#include "model/Config.h"

#include <ufd/host/PortDecisions.h>
#include <ufd/sm/Root.h>

int
main() {
   using namespace UplinkFailureDetection;
   Kelnet::IntfId const port( ConfigOfTheHost().port );
   auto const config = configFactory( "config" );
   config->groupIs( "fabric" )->intfsToDisableIs( port, true );
   auto const status = statusFactory( "status" );
   auto const cause = Errdisable::CauseStatus::CauseStatusIs( "ufd" );
   auto const directory = Interface::EthIntfStatusDir::EthIntfStatusDirIs( "interfaces" );
   PortDecisions decisions( config, status, directory );
   auto const root = rootFactory( "root" );
   root->uplinkFailureDetectionSmIs( config, status, cause, directory );
   decisions.takeChanges();
   // No uplink at all: the port is error-disabled.
   return cause->intfStatus( port ) && decisions.mustBeShut( port ) ? 0 : 1;
}
