#include "agent/detect/GroupWait.h"

#include <array>
#include <cstdio>

namespace Ufdd {

std::string
secondsText( double seconds ) {
   std::array< char, 32 > text;
   std::snprintf( text.data(), text.size(), seconds < 100 ? "%.3g s" : "%.0f s", seconds );
   return text.data();
}

} // namespace Ufdd
