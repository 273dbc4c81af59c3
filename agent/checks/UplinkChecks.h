#pragma once

#include "agent/base/Log.h"
#include "agent/checks/UplinkCheck.h"
#include "agent/detect/BootHistory.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/Neighbours.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ufdd {

// All checks. An uplink counts as up only while its carrier is there and all its checks count as
// up: tells the directory of links of those that do not, and remembers them for the next ufdd.
//
// Where all checks that decide fail within a second, and no carrier was lost, the fault is likelier
// in this machine: a mass failure, which counts only after a delay, or not at all if a check passes
// before. A failure is delayed by up to a second while the others look like following.
class UplinkChecks {
 public:
   // Borrows: all.
   UplinkChecks( LinkDirectory& links, BootHistory& history, Log& log )
       : links_( links ), history_( history ), log_( log ) {}

   // Has neighbours asked through this; without it, nobody asks them. Borrows: neighbours.
   void neighboursAre( Neighbours& neighbours ) { neighbours_ = &neighbours; }

   // Makes these the checks. Those that ask the same as before, under the same name, go on with
   // their verdict. Requires: the directory watches the uplinks already.
   void configure( std::vector< CheckSettings > const& checks, double massFailureDelay );

   struct Result {
      std::string_view check;
      CheckResult result;
      std::string_view reason;
   };
   // Why results can't be taken: there is no check of that name, or it takes none from outside.
   struct Objection {
      bool isUnknown;
      std::string text;
   };
   // Takes all of these results, or none.
   std::optional< Objection > report( std::span< Result const > results );

   // Tells of changes of links, after all acts on them.
   void handleChanges( std::span< LinkCause const > changes );
   // Call at the end of each turn, after all detection. Returns true if an uplink counts
   // differently now: then act.
   bool endTurn();
   // Returns when to call endTurn() even if nothing happens, by Zet::now(); or `never`.
   double nextTime() const;

   struct Entry {
      UplinkCheck check;
      // Until when its failure does not count, by Zet::now(); 0 if it does.
      double delayedUntil = 0;
      // Of a neighbour: whether its link is up; when it is to be asked, and when it must have
      // answered, by Zet::now().
      bool hasLink = false;
      double askAt = 0, answerBy = never;

      bool isUp() const { return check.isUp() || delayedUntil > 0; }
   };
   // Calls action( Entry const& ) for each check, by name.
   template < class Action > void forEach( Action action ) const {
      for ( auto const& [ name, entry ] : entries_ )
         action( entry );
   }
   // Returns true if something of a check may have changed since the last call.
   bool takeNews() { return std::exchange( hasNews_, false ); }

 private:
   enum class Mass { none, delayed, counted };

   // In seconds: checks that fail within this time fail at once.
   static constexpr double atOnce = 1;
   // So many neighbours are asked in one turn, so that no message about a link waits for them.
   static constexpr int asksPerTurn = 4;
   // In seconds: a turn that begins so much later than it should have is one after a stall.
   static constexpr double stall = 0.02;

   void take( Entry& entry, CheckResult result, std::string_view reason, double now );
   void tell( Entry const& entry, CheckVerdict before, bool wasUp );
   std::string uplinksText( CheckSettings const& settings ) const;
   bool followLinks( double now );
   void askNeighbours( double now );
   void askNeighbour( Entry& entry, double now );
   void judgeSilence( double now );
   // Decides what counts, and tells the directory.
   bool judge( double now );
   void judgeMass( double now );
   bool isMassFailure() const;
   // Returns true if all other checks seem to fail as well just now.
   bool isDoubtful( Entry const& entry ) const;
   void apply();
   std::string decidersText() const;

   LinkDirectory& links_;
   BootHistory& history_;
   Log& log_;
   Neighbours* neighbours_ = nullptr;
   std::map< std::string, Entry, std::less<> > entries_; // By name.
   std::map< Kelnet::IntfId, Zet::String8 > failures_;   // Of all uplinks of checks, as told.
   double massFailureDelay_ = 0;                         // In seconds.
   Mass mass_ = Mass::none;
   double massUntil_ = 0; // When a mass failure counts, by Zet::now().
   double carrierLostAt_ = -never;
   double dueAt_ = never; // The result of nextTime() after the last judge().
   bool hasNews_ = true;
};

} // namespace Ufdd
