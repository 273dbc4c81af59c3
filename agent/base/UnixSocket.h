#pragma once

#include "agent/base/Descriptor.h"

#include <string>
#include <sys/socket.h>
#include <sys/un.h>

namespace Ufdd {

// Throws: std::system_error, which names the path, when it is empty or longer than one may be.
sockaddr_un unixAddress( std::string const& path );

// A stream socket, connected to nothing. Throws: std::system_error, as the next does.
Descriptor unixStream();

// A stream socket that is connected to what listens at `path`; or none, with the reason in errno.
Descriptor unixStreamTo( std::string const& path );

// Who has connected the other end. Requires: a connected stream socket.
ucred peerOf( Descriptor const& stream ) noexcept;

} // namespace Ufdd
