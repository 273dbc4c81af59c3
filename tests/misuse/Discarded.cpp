#include "sm/Root.h"

// Not built: the compiler has to warn of it.
void
start() {
   UplinkFailureDetection::rootFactory( "root" );
}
