#include "agent/state/State.h"

#include "adapters/attrlog/Attach.h"
#include "adapters/reflect/HostTypes.h"

template class Notify::LoggedEntity< Ufdd::CheckState >;
template class Notify::LoggedEntity< Ufdd::GroupState >;
template class Notify::LoggedEntity< Ufdd::LinkState >;
template class Notify::LoggedEntity< Ufdd::PortState >;
template class Notify::LoggedEntity< Ufdd::State >;

namespace Ufdd {

State::~State() {
   group_.end( *this, Notify::rowOf< State, &State::group >().id );
   link_.end( *this, Notify::rowOf< State, &State::link >().id );
   port_.end( *this, Notify::rowOf< State, &State::port >().id );
   check_.end( *this, Notify::rowOf< State, &State::check >().id );
   notifiees_.deleteAll();
}

void
registerStateTypes() {
   Reflect::registerHostTypes< GroupMode, WaitReason, OrderKind, LinkCondition, PortCondition,
                               PortMeans, CheckResult, CheckVerdict, CheckState, GroupState,
                               LinkState, PortState, State >( "Ufdd" );
}

} // namespace Ufdd
