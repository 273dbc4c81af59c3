#pragma once

#include "agent/control/ControlRequest.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Ufdd {

// Requests and replies as they travel: lines, each a key and perhaps a value.
//
//    ufdd-request 1      ufdd-reply 1
//    do down             is done
//    target server1      shut server1
//    for 7200            end
//    reason new cable
//    end
//
// A report of checks has a line for each, with the result, the name of the check, and why:
//
//    report down bfd-spine1 session is Down
//
// Nothing follows the end. Without it, a text is not whole, and nothing comes of it.

// In bytes, of a whole text.
inline constexpr std::size_t requestLimit = 4096;
inline constexpr std::size_t replyLimit = 1 << 20;
inline constexpr std::size_t reasonLimit = 256;
// In seconds, of `for` and `confirm`: 366 days.
inline constexpr double controlTimeLimit = 366. * 86400;

// What is wrong with a text or a request, and where.
class ControlTextError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// Returns true if the text has its end, whatever follows.
bool isWhole( std::string_view text );

// Returns the text of a request, without who asks. Throws: ControlTextError for a request that
// requestOf() would refuse.
std::string textOf( ControlRequest const& request );
// Reads a request from the other side. Throws: ControlTextError, unless it keeps all rules: a known
// verb, only keys that the verb takes, each but `target` and `report` once at most, and times
// within the limit.
ControlRequest requestOf( std::string_view text );

// Requires: no name has a line break.
std::string textOf( ControlReply const& reply );
// Throws: ControlTextError.
ControlReply replyOf( std::string_view text );

// Returns the word for the verb on the command line and in texts: "auto".
std::string_view wordOf( ControlRequest::Verb verb );

} // namespace Ufdd
