#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/Never.h"
#include "agent/control/ControlRequest.h"

#include <csignal>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Ufdd {

// One run of the command of a check: a process group of its own, without a shell and without input.
// Never waits for it.
class CheckRun {
 public:
   struct Result {
      ControlRequest::Report::Word word = ControlRequest::Report::Word::unknown;
      std::string reason; // Printable, in one line, no longer than a report may have it.
   };

   // Starts the command, which may take so many seconds. If it can't be started, it has ended.
   // While the command writes, `poll`, an epoll, has an event with this object as its pointer.
   // Requires: the command names a program.
   CheckRun( std::vector< std::string > command, double timeout, int poll );
   // Kills the process group.
   ~CheckRun();
   CheckRun( CheckRun const& ) = delete;
   CheckRun& operator=( CheckRun const& ) = delete;

   pid_t pid() const { return pid_; }
   // Takes what the command has written, so that it is never held up by that.
   void receive();
   // Returns true once the process is gone. The rest of its group is killed then.
   bool hasEnded();
   // When the command has taken too long, by Zet::now().
   double deadline() const { return deadline_; }
   // Kills the process group. It is gone some time later, or never if the kernel holds it.
   void kill();
   // What the run has found. One that was killed, or has not ended, is unknown.
   Result result() const;

 private:
   // In bytes: more of the output is of no interest.
   static constexpr std::size_t outputLimit = 4096;

   void start();
   [[noreturn]] void become( int output, int failure );
   void stopReceiving();
   std::string firstLine() const;

   std::vector< std::string > const command_;
   double const timeout_; // In seconds.
   double const deadline_;
   int const poll_;
   pid_t pid_ = 0;      // 0 once the process is gone, or if there was none.
   Descriptor output_;  // What the command writes; none once it has closed that.
   Descriptor failure_; // Gets an errno value if the program can't be executed.
   int error_ = 0;      // That value.
   std::string text_;   // The begin of its output.
   siginfo_t end_{};    // How it has ended.
   bool isKilled_ = false;
};

} // namespace Ufdd
