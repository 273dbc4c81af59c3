#include "host/GroupTransitions.h"

#include "host/Observing.h"
#include "model/GroupStatus.h"

#include <utility>

namespace UplinkFailureDetection {

class GroupTransitions::StatusObserver final : public Status::NotifieeConst {
 public:
   explicit StatusObserver( GroupTransitions& owner ) : owner_( owner ) {}
   void onGroup( Zet::Name name ) override { owner_.handleGroup( name ); }

 private:
   GroupTransitions& owner_;
};

class GroupTransitions::GroupObserver final : public GroupStatus::NotifieeConst {
 public:
   GroupObserver( Listener& listener, GroupLinkStatus told )
       : listener_( listener ), told_( told ) {}
   GroupLinkStatus told() const { return told_; }
   void onGroupLinkStatus() override {
      GroupLinkStatus const now = notifier()->groupLinkStatus();
      GroupLinkStatus const before = std::exchange( told_, now );
      if ( before != now )
         listener_.handleTransition( notifier()->name(), before, now );
   }

 private:
   Listener& listener_;
   GroupLinkStatus told_;
};

GroupTransitions::GroupTransitions( Zet::Ptr< Status const > const& status, Listener& listener )
    : status_( status ), listener_( listener ),
      statusObserver_( observing< StatusObserver >( status, *this ) ) {
   for ( auto group = status->groupIteratorConst(); group; ++group )
      handleGroup( group->name() );
}

GroupTransitions::~GroupTransitions() = default;

void
GroupTransitions::handleGroup( Zet::Name const& name ) {
   auto const group = status_->group( name );
   if ( !group ) {
      groups_.erase( name );
      listener_.handleGroupGone( name );
      return;
   }
   Zet::Ptr< GroupObserver >& observer = groups_[ name ];
   observer = observing< GroupObserver >( group, listener_,
                                          observer ? observer->told() : GroupLinkStatus::unknown );
   // The group may have another status than `unknown` already. Held: the listener may remove the
   // group.
   Zet::Ptr< GroupObserver >( observer )->onGroupLinkStatus();
}

} // namespace UplinkFailureDetection
