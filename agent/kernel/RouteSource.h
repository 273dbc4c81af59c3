#pragma once

#include "agent/kernel/RouteTable.h"

#include <optional>
#include <span>
#include <string>

namespace Ufdd {

// Hears of what makes the kernel drop addresses and routes.
class RouteListener {
 public:
   enum class LinkEvent { up, down, gone };
   // The link was set administratively up or down, or has gone. Each change is told once. The table
   // still shows what it had.
   virtual void handleLinkEvent( std::uint32_t link, LinkEvent event ) = 0;
   // Messages were lost. The table shows what was known before.
   virtual void handleRoutesLost() = 0;

 protected:
   ~RouteListener() = default;
};

// A setting to be put back, and the result.
struct LinkSettingRequest {
   LinkSetting setting;
   int error = 0; // An errno value; EEXIST if there is one like it.
};

// Follows the routes and addresses of the kernel, or of a stand-in. Nobody waits for it: it reads
// when nothing else is due, so the table may be a moment old.
class RouteSource {
 public:
   virtual ~RouteSource() = default;

   // Follows addresses, static routes, and default routes, and from now on routes of the main table
   // to these prefixes. The first time, reads for a short time before it returns; a large table is
   // read to its end later.
   // Throws: std::system_error when the kernel's messages can't be subscribed to. What was followed
   // before is then still followed, and the next call tries again.
   virtual void follow( std::span< Prefix const > prefixes ) = 0;
   // Borrows: listener, for as long as the source exists.
   virtual void listenerIs( RouteListener& listener ) = 0;
   virtual RouteTable const& table() const = 0;
   // Returns true if they are followed, but were not all read yet.
   virtual bool isReading() const = 0;
   // Adds addresses and routes to links. Works before follow() as well.
   virtual void putBack( std::span< LinkSettingRequest > requests ) = 0;

   // Takes in the messages that have come, without waiting.
   virtual void deliver() = 0;
   // Goes on with reading after messages were lost. Call at the end of each turn of the loop.
   virtual void recover() = 0;
   // When to call recover() even if nothing happens, by Zet::now(); or nothing.
   virtual std::optional< double > nextTime() const = 0;
   // Returns what went wrong since the last call and its consequence, or nothing.
   virtual std::string takeTrouble() = 0;
};

} // namespace Ufdd
