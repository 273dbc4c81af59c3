#pragma once

#include "model/GroupLinkStatus.h"
#include "model/Status.h"

#include <map>

namespace UplinkFailureDetection {

// Tells of each change of each group's link status, whichever groups come and go.
class ZET_EXPORT GroupTransitions {
 public:
   class Listener {
    public:
      // `before` differs from `now`. Every group begins with `unknown`, also one that has another
      // status when it comes.
      virtual void handleTransition( Zet::Name const& group, GroupLinkStatus before,
                                     GroupLinkStatus now ) = 0;
      // The group's status was removed; it is no transition.
      virtual void handleGroupGone( Zet::Name const& ) {}

    protected:
      ~Listener() = default;
   };

   // Tells of the groups that are there already before it returns.
   // Borrows: listener.
   GroupTransitions( Zet::Ptr< Status const > const& status, Listener& listener );
   ~GroupTransitions();
   GroupTransitions( GroupTransitions const& ) = delete;
   GroupTransitions& operator=( GroupTransitions const& ) = delete;

 private:
   class StatusObserver;
   class GroupObserver;

   void handleGroup( Zet::Name const& name );

   Zet::Ptr< Status const > const status_;
   Listener& listener_;
   std::map< Zet::Name, Zet::Ptr< GroupObserver > > groups_;
   Zet::Ptr< StatusObserver > statusObserver_;
};

} // namespace UplinkFailureDetection
