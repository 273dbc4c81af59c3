#pragma once

#include "agent/base/Descriptor.h"

#include <string>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

namespace Ufdd {

// Returns the address of the socket at `path`.
// Throws: std::system_error, which names the path, when the path is empty or too long.
sockaddr_un unixAddress( std::string const& path );

// Makes a stream socket that is not connected.
// Throws: std::system_error.
Descriptor unixStream();

// Makes a stream socket that is connected to the one at `path`. Returns none, with the reason in
// errno, if nobody can be reached there. Waits at most a second for a process that is stuck.
// Throws: std::system_error, as the two above do.
Descriptor unixStreamTo( std::string const& path );

// Returns the process, user and group at the other end; user and group are -1 if unknown.
// Requires: a connected stream socket.
ucred peerOf( Descriptor const& stream ) noexcept;

// Returns true if the process at the other end is in that group, its supplementary groups included,
// as of when it connected.
// Requires: a connected stream socket.
bool isPeerInGroup( Descriptor const& stream, gid_t group );

} // namespace Ufdd
