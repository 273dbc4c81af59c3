#pragma once

#include <poll.h>
#include <span>

namespace Ufdd {

// Waits for one of the events, at most until that time of Zet::now().
void pollUntil( std::span< pollfd > watched, double time );

} // namespace Ufdd
