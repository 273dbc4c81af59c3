#pragma once

#include <cstdint>
#include <string>

namespace Ufdd {

// Tells the service manager (systemd) that started this process how it is doing. Where there is
// none, nothing is told.
class ServiceManager {
 public:
   ServiceManager();

   // Runs as configured, be it for the first time or after reloading().
   void ready();
   void reloading();
   void stopping();
   // In a few words. Told on only when it is another one.
   void statusIs( std::string const& status );

   // How often it wants to hear alive(), in microseconds; 0 for never.
   std::uint64_t watchdogPeriod() const { return watchdogPeriod_; }
   void alive();

 private:
   std::uint64_t watchdogPeriod_ = 0;
   std::string status_;
};

} // namespace Ufdd
