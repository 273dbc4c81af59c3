#include "sm/Root.h"

int
main() {
   using namespace UplinkFailureDetection;
   auto const config = configFactory( "config" );
   config->groupIs( "fabric" )->intfsToDisableIs( Kelnet::IntfId( "eth1" ), true );
   auto const cause = Errdisable::CauseStatus::CauseStatusIs( "ufd" );
   auto const sm = rootFactory( "root" )->uplinkFailureDetectionSmIs(
       config, statusFactory( "status" ), cause,
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "interfaces" ) );
   // No uplink at all: the port is error-disabled.
   return sm && cause->intfStatus( Kelnet::IntfId( "eth1" ) ) ? 0 : 1;
}
