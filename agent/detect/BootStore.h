#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

namespace Ufdd {

// What has happened since the machine booted, as far as any ufdd has seen it.
struct BootRecord {
   double firstStart = 0; // When the first ufdd started, by Zet::now(), a clock of the machine.
   std::set< std::string, std::less<> > interfaces; // The names of those that have existed.
   std::set< std::string, std::less<> > groups;     // The names of those that were up.
   // The names of groups that are down until their recover_links are up.
   std::set< std::string, std::less<> > fallen;
   std::map< std::string, bool, std::less<> > checks = {}; // By name: true if it counted as up.
};

// Keeps the record beyond the end of the process, however it ends, until the machine boots again.
class BootStore {
 public:
   virtual ~BootStore() = default;

   // Returns nothing if no ufdd has recorded anything since the boot, in this network namespace.
   virtual std::optional< BootRecord > recall() = 0;
   // Returns an errno value; unless that is 0, the former record may still be there.
   virtual int remember( BootRecord const& record ) = 0;
   // Returns true if what remember() wrote is not there any more.
   virtual bool isLost() const = 0;
   // Where the record is, for the log.
   virtual std::string place() const = 0;
};

} // namespace Ufdd
