#pragma once

#include <string>

namespace Ufdd {

// Returns the path of the socket that takes requests, unless another is named: "control" beside the
// status socket.
inline std::string
controlSocketBeside( std::string const& statusSocket ) {
   return statusSocket.substr( 0, statusSocket.find_last_of( '/' ) + 1 ) + "control";
}

} // namespace Ufdd
