#pragma once

#include "agent/base/Descriptor.h"

#include <array>
#include <cstdint>
#include <string>

namespace Ufdd {

// Reports the state of this process to the service manager (systemd) that started it. Without a
// service manager it does nothing. It never blocks: reports that the service manager can't take at
// once are kept for send().
class ServiceManager {
 public:
   ServiceManager();

   // Returns true if a service manager started this process.
   bool isThere() const { return !path_.empty(); }

   // Reports that the configuration is in force. Call at start and after reloading().
   void ready() { tell( Subject::ready, "READY=1" ); }
   void reloading();
   void stopping() { tell( Subject::stopping, "STOPPING=1" ); }
   // Reports a short text about the present state, if it differs from the last one.
   void statusIs( std::string const& text );

   // The longest time allowed between two calls of alive(), in microseconds; 0 if none are
   // expected.
   std::uint64_t watchdogPeriod() const { return watchdogPeriod_; }
   void alive();

   // Sends the reports that are due. Returns false if some are left: call it again later.
   bool send();

 private:
   // In the order in which reports that are due are sent.
   enum class Subject { reloading, ready, stopping, alive, status, count };

   std::string& due( Subject subject ) { return due_.at( static_cast< std::size_t >( subject ) ); }
   void tell( Subject subject, std::string text );

   std::string path_; // Of the service manager's socket; empty if there is none.
   Descriptor socket_;
   // The last report on each subject; empty once it was sent.
   std::array< std::string, static_cast< std::size_t >( Subject::count ) > due_;
   std::uint64_t watchdogPeriod_ = 0; // In microseconds.
   std::string status_;               // As last reported.
};

} // namespace Ufdd
