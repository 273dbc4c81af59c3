#include "agent/detect/GroupTransitions.h"

#include "agent/base/Observing.h"
#include "model/GroupStatus.h"

#include <utility>

namespace Ufdd {

using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::GroupStatus;
using UplinkFailureDetection::Status;

class GroupTransitions::StatusObserver final : public Status::NotifieeConst {
 public:
   explicit StatusObserver( GroupTransitions& owner ) : owner_( owner ) {}
   void onGroup( Zet::Name name ) override { owner_.handleGroup( name ); }

 private:
   GroupTransitions& owner_;
};

class GroupTransitions::GroupObserver final : public GroupStatus::NotifieeConst {
 public:
   explicit GroupObserver( Listener& listener ) : listener_( listener ) {}
   void onGroupLinkStatus() override {
      GroupLinkStatus const now = notifier()->groupLinkStatus();
      listener_.handleTransition( notifier()->name(), std::exchange( linkStatus_, now ), now );
   }

 private:
   Listener& listener_;
   GroupLinkStatus linkStatus_ = GroupLinkStatus::unknown;
};

GroupTransitions::GroupTransitions( Zet::Ptr< Status > const& status, Listener& listener )
    : status_( *status ), listener_( listener ),
      statusObserver_( observing< StatusObserver >( status, *this ) ) {}

GroupTransitions::~GroupTransitions() = default;

void
GroupTransitions::handleGroup( Zet::Name const& name ) {
   if ( auto const group = status_.group( name ) ) {
      groups_[ name ] = observing< GroupObserver >( group, listener_ );
   } else {
      groups_.erase( name );
      listener_.handleGroupGone( name );
   }
}

} // namespace Ufdd
