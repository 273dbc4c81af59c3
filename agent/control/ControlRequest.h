#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ufdd {

// One request to steer ufdd.
struct ControlRequest {
   enum class Verb {
      disable,   // Groups shut no port, until `automatic`.
      down,      // Groups or ports are shut, whatever the uplinks do, until `automatic`.
      automatic, // Groups or ports do what the configuration says.
      clear,     // Ports, or all ports of groups, are open until the groups that shut them are up.
      reload,    // The configuration is read again.
      confirm,   // A reload with confirmWithin stays in force.
      report,    // Checks have these results.
   };

   Verb verb = Verb::automatic;
   std::vector< std::string > targets; // Names of groups or ports; none for `reload`, `confirm` and
                                       // `report`.
   // In seconds: how long `disable` or `down` stand. Empty for no end.
   std::optional< double > holdFor;
   // In seconds: the former configuration comes back unless `confirm` comes before.
   std::optional< double > confirmWithin;
   // One result of a check.
   struct Report {
      enum class Word { up, down, unknown };

      std::string check;
      Word word = Word::unknown;
      std::string reason;
   };
   std::vector< Report > reports = {}; // For `report`, at least one.
   std::string reason;                 // In the operator's words.
   bool isForced = false;              // Also shuts a port that carries the default route.
   bool isDryRun = false;              // Only answers what would be done.

   // The process that asks, as the kernel names it.
   unsigned int uid = 0;
   int pid = 0;
};

// What ufdd has done about a request, or would do.
struct ControlReply {
   enum class Kind {
      done,
      refused,  // Nothing was changed. The request is not allowed or makes no sense at present.
      unknown,  // Nothing was changed. There is no group, port or check of that name.
      notAdmin, // Nothing was changed. Whoever asks may not do this.
      failed,   // Nothing was changed. The order can't be kept, so it is not given.
   };

   Kind kind = Kind::done;
   std::string text;                  // Why not, with the remedy; or what else is to be known.
   std::vector< std::string > toShut; // Names of the ports that this shuts.
   std::vector< std::string > toOpen; // Names of the ports that this opens.
};

// Returns a reply to a request that shuts and opens nothing.
inline ControlReply
reply( ControlReply::Kind kind, std::string text ) {
   return { .kind = kind, .text = std::move( text ), .toShut = {}, .toOpen = {} };
}

// Carries out requests. Called at the end of a turn, after all detection.
class Steering {
 public:
   virtual ControlReply handle( ControlRequest const& request ) = 0;

 protected:
   ~Steering() = default;
};

} // namespace Ufdd
