#pragma once

#include "agent/base/Descriptor.h"

#include <array>
#include <cstdint>
#include <string>

namespace Ufdd {

// Tells the service manager (systemd) that started this process how it is doing. Where there is
// none, nothing is told. Nothing waits for it: what it can't take at once stays due.
class ServiceManager {
 public:
   ServiceManager();

   bool isThere() const { return !path_.empty(); }

   // Tells that the configuration is in force: at start, and after reloading().
   void ready() { tell( Subject::ready, "READY=1" ); }
   void reloading();
   void stopping() { tell( Subject::stopping, "STOPPING=1" ); }
   // In a few words. Told on only when it is another one.
   void statusIs( std::string const& status );

   // How often it wants to hear alive(), in microseconds; 0 for never.
   std::uint64_t watchdogPeriod() const { return watchdogPeriod_; }
   void alive();

   // Tells what is due. False when something still is.
   bool settle();

 private:
   // In the order in which what is due is told.
   enum class Subject { reloading, ready, stopping, alive, status, count };

   std::string& due( Subject subject ) { return due_.at( static_cast< std::size_t >( subject ) ); }
   void tell( Subject subject, std::string text );

   std::string path_; // Of its socket; empty when there is none.
   Descriptor socket_;
   // The last word on each subject; empty once it is told.
   std::array< std::string, static_cast< std::size_t >( Subject::count ) > due_;
   std::uint64_t watchdogPeriod_ = 0;
   std::string status_;
};

} // namespace Ufdd
