#pragma once

#include "agent/base/Never.h"
#include "agent/detect/BootStore.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/String8.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace Ufdd {

// Knows which interfaces have existed and which groups were up since the machine booted, which
// groups have fallen, so that they need their recover_links to come up again, and what checks
// counted as. Follows the directory of interfaces, and remembers what it learns for the next ufdd.
class BootHistory {
 public:
   // Borrows: store.
   // Requires: the directory is not null, and shows no interface yet.
   BootHistory( BootStore& store, Zet::Ptr< Interface::EthIntfStatusDir const > const& directory );
   ~BootHistory();
   BootHistory( BootHistory const& ) = delete;
   BootHistory& operator=( BootHistory const& ) = delete;

   // Reads what was remembered. If that is nothing, this is the first ufdd since the boot.
   void recall();

   double firstStart() const { return record_.firstStart; }
   bool hasExisted( Kelnet::IntfId interface ) const {
      return record_.interfaces.contains( interface.name().view() );
   }
   bool wasUp( Zet::Name const& group ) const { return record_.groups.contains( group.view() ); }
   void handleUp( Zet::Name const& group );
   // Returns true if the group is down until its recover_links are up.
   bool hasFallen( Zet::Name const& group ) const {
      return record_.fallen.contains( group.view() );
   }
   void hasFallenIs( Zet::Name const& group, bool hasFallen );
   // Takes all other groups for groups that have not fallen.
   void keepFallen( std::set< Zet::Name > const& groups );

   // Returns what the check of that name counted as, if it had a verdict since the boot.
   std::optional< bool > verdictOf( std::string_view check ) const;
   void verdictIs( std::string_view check, bool isUp );
   // Forgets the verdicts of all checks for which `isKept` returns false.
   template < class IsKept > void keepVerdicts( IsKept isKept ) {
      isNew_ |= std::erase_if( record_.checks,
                               [ & ]( auto const& check ) { return !isKept( check.first ); } ) > 0;
   }

   // Writes what is new, if anything is. Retries once a second after a failure, if it is called at
   // nextTime(). Returns the trouble when a failure begins, else an empty text.
   std::string remember();
   double nextTime() const { return retryAt_; }
   // Has the next remember() write the record again if it was removed.
   void checkRecord() { isNew_ |= store_.isLost(); }

 private:
   class DirectoryObserver;

   static constexpr double retrySeconds = 1;

   void handleExists( Kelnet::IntfId interface );

   BootStore& store_;
   Interface::EthIntfStatusDir const& directory_;
   BootRecord record_;
   bool isNew_ = false;     // record_ has not been written.
   double retryAt_ = never; // By Zet::now().
   Zet::Ptr< DirectoryObserver > const observer_;
};

} // namespace Ufdd
