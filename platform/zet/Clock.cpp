#include "platform/zet/Clock.h"

#include <chrono>

namespace Zet {

namespace {

double
steadySeconds() {
   return std::chrono::duration< double >( std::chrono::steady_clock::now().time_since_epoch() )
       .count();
}

double ( *clock )() = steadySeconds;

} // namespace

double
now() {
   return clock();
}

void
clockIs( double ( *replacement )() ) {
   clock = replacement ? replacement : steadySeconds;
}

} // namespace Zet
