#pragma once

#include "model/GroupLinkStatus.h"
#include "model/Status.h"

#include <map>

namespace Ufdd {

// Watches the link statuses of all groups, those to come as well.
class GroupTransitions {
 public:
   class Listener {
    public:
      using LinkStatus = UplinkFailureDetection::GroupLinkStatus;
      virtual void handleTransition( Zet::Name const& group, LinkStatus before,
                                     LinkStatus now ) = 0;
      virtual void handleGroupGone( Zet::Name const& ) {}

    protected:
      ~Listener() = default;
   };

   // Borrows: listener.
   GroupTransitions( Zet::Ptr< UplinkFailureDetection::Status > const& status, Listener& listener );
   ~GroupTransitions();
   GroupTransitions( GroupTransitions const& ) = delete;
   GroupTransitions& operator=( GroupTransitions const& ) = delete;

 private:
   class StatusObserver;
   class GroupObserver;

   void handleGroup( Zet::Name const& name );

   UplinkFailureDetection::Status const& status_;
   Listener& listener_;
   std::map< Zet::Name, Zet::Ptr< GroupObserver > > groups_;
   Zet::Ptr< StatusObserver > statusObserver_;
};

} // namespace Ufdd
