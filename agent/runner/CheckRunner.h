#pragma once

#include "agent/base/Descriptor.h"
#include "agent/control/ControlRequest.h"
#include "agent/runner/CheckRun.h"
#include "agent/state/State.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Ufdd {

// Takes what checks have found, and what there is to log.
class CheckReports {
 public:
   virtual void add( ControlRequest::Report report ) = 0;
   virtual void tell( std::string const& text ) = 0;

 protected:
   ~CheckReports() = default;
};

// Runs the commands of the checks in ufdd's State, each every interval, one run of it at a time.
// Never waits for them. Runs of different checks are spread over their intervals.
class CheckRunner {
 public:
   // Borrows: reports.
   // Throws: std::system_error.
   explicit CheckRunner( CheckReports& reports );

   // Runs the checks of this State, as they are now. With null, ufdd can't be reached: nothing is
   // run, and what runs is killed.
   void follow( State const* state );
   // Readable while a command has written something.
   int fd() const { return poll_.fd(); }
   void handleOutput();
   // A child may have ended (SIGCHLD).
   void handleChild() { isChildDue_ = true; }
   // Call at the end of each turn, and at nextTime(), by Zet::now().
   void endTurn();
   double nextTime() const;
   // The number of checks.
   std::size_t count() const;

 private:
   struct Check {
      std::vector< std::string > command;
      double interval = 0;                       // In seconds.
      double timeout = 0;                        // In seconds.
      double dueAt = 0;                          // When it is run next, by Zet::now().
      std::unique_ptr< CheckRun > run = nullptr; // Null while none goes on.
      bool isSettled = false;   // The run is reported, or nobody asks for it any more.
      bool isStuckTold = false; // The run was logged, as one that can't be killed.
      bool isWanted = true;     // Else it is kept until its run has ended.
   };

   void take( CheckState const& state );
   void handleRun( std::string const& name, Check& check, double now );
   void start( std::string const& name, Check& check, double now );
   void report( std::string const& name, CheckRun::Result result );
   static void drop( Check& check );

   CheckReports& reports_;
   Descriptor poll_;                                    // An epoll over the outputs of all runs.
   std::map< std::string, Check, std::less<> > checks_; // By name.
   bool isFollowing_ = false;
   bool isChildDue_ = false;
   unsigned int taken_ = 0; // The number of checks so far.
};

} // namespace Ufdd
