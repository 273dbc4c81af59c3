#pragma once

#include "platform/zet/Ptr.h"

#include <utility>

namespace UplinkFailureDetection {

// Makes an Observer and registers it with `entity`. It observes as long as the caller holds the
// result, since an entity does not hold its observers.
template < class Observer, class Entity, class... Argument >
[[nodiscard]] Zet::Ptr< Observer >
observing( Zet::Ptr< Entity > const& entity, Argument&&... argument ) {
   Zet::Ptr< Observer > observer = Zet::make< Observer >( std::forward< Argument >( argument )... );
   observer->notifierIs( entity );
   observer->isRegisteredNotifieeIs( true );
   return observer;
}

} // namespace UplinkFailureDetection
