#include "agent/config/CheckSettings.h"

#include <algorithm>

namespace Ufdd {

std::string_view
CheckSettings::kindText() const {
   return std::ranges::find( kinds, kind, &std::pair< std::string_view, Kind >::second )->first;
}

} // namespace Ufdd
