#pragma once

#include <stdexcept>
#include <string>

namespace Ufdd {

// How ufdctl ends. The help names these numbers, and scripts rely on them.
enum class ExitStatus {
   success = 0,
   failure = 1,
   unknownName = 2, // There is no such group, port, check, link or type.
   unhealthy = 3,   // For an option that asks about the health.
   unreachable = 4, // ufdd can't be reached.
   usage = 64,      // The command line is wrong.
};

inline constexpr char const* exitStatusHelp =
    "Exit status: 0 if done; 1 if something failed; 2 if there is no such group, port,\n"
    "check, link or type; 3 if --check-health or --fail-if-shut found something; 4 if ufdd\n"
    "can't be reached; 64 if the command line is wrong.";

// Ends ufdctl with that status, after it has written the text.
class Failure : public std::runtime_error {
 public:
   Failure( ExitStatus status, std::string const& text )
       : std::runtime_error( text ), status_( status ) {}
   ExitStatus status() const { return status_; }

 private:
   ExitStatus const status_;
};

} // namespace Ufdd
