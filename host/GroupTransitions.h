#pragma once

#include "model/GroupLinkStatus.h"
#include "model/Status.h"

#include <map>

namespace UplinkFailureDetection {

// Tells a listener each change of each group's link status. Follows groups as they come and go.
class ZET_EXPORT GroupTransitions {
 public:
   class Listener {
    public:
      // `before` differs from `now`. Every group begins with `unknown`: a new group that has
      // another status already makes a transition.
      virtual void handleTransition( Zet::Name const& group, GroupLinkStatus before,
                                     GroupLinkStatus now ) = 0;
      // The group's status was removed, which is no transition.
      virtual void handleGroupGone( Zet::Name const& ) {}

    protected:
      ~Listener() = default;
   };

   // Before it returns, tells the transitions of the groups that exist already.
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
