#pragma once

#include "agent/ctl/Json.h"
#include "agent/ctl/Screen.h"
#include "agent/ctl/View.h"

#include <string>
#include <vector>

namespace Ufdd {

// Why a port is as it is, and what would change that.
class Explanation {
 public:
   // Borrows: the view.
   // Throws: Failure, which names the nearest port, when there is no such port.
   Explanation( View const& view, std::string const& port );

   // Returns, for people:
   //
   //    server1: shut by ufdd since 12:30:00.123, 12 s ago (admin down)
   //      because  group rack1 is down: 0/2 up, needs 1
   //                 uplink1  no carrier, 12 s
   //      not by   group rack2: 2/2 up, needs 1
   //      opens    once rack1 has been up for 2 s (recovery_delay), which takes 1 more uplink
   std::string text( Colours colours ) const;
   Json json() const;

 private:
   struct Remark {
      std::string label; // Empty if it belongs to the one before.
      std::string text;
   };

   void add( std::string const& label, std::string text );
   void addGroups( std::string const& label, bool wantsShut );
   void addChanges();
   void addRemedy();
   void addEndsOfOrders();

   View const& view_;
   View::Port const port_;
   View::Link const link_;
   std::vector< View::Group const* > because_; // The groups that want it shut.
   std::vector< View::Group const* > notBy_;   // The other groups that disable it.
   std::string headline_;
   std::vector< Remark > remarks_;
};

} // namespace Ufdd
