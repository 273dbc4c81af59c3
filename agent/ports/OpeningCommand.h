#pragma once

#include "agent/kernel/LinkControl.h"

#include <string>
#include <string_view>

namespace Ufdd {

// Returns the command by which an operator opens the interface `name`, which was shut by that
// means.
std::string openingCommand( std::string_view name, LinkRequest::Means means, unsigned int reason );

} // namespace Ufdd
