#pragma once

namespace Ufdd {

// Asks the service manager (systemd) over the system bus whether the host is being shut down or
// restarted, and waits for the answer for a second at most.
// Throws: std::system_error when there is no answer.
bool isHostStopping();

} // namespace Ufdd
