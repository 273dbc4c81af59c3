#pragma once

#include "platform/zet/Ptr.h"

#include <utility>

namespace UplinkFailureDetection {

// Makes an Observer that is told of the changes of `entity` for as long as the result is held:
// the entity itself does not hold its observers.
template < class Observer, class Entity, class... Argument >
[[nodiscard]] Zet::Ptr< Observer >
observing( Zet::Ptr< Entity > const& entity, Argument&&... argument ) {
   Zet::Ptr< Observer > observer = Zet::make< Observer >( std::forward< Argument >( argument )... );
   observer->notifierIs( entity );
   observer->isRegisteredNotifieeIs( true );
   return observer;
}

} // namespace UplinkFailureDetection
