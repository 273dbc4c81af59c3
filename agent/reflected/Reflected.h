#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/generic/GenericIf.h"

#include <string>

namespace Ufdd {

// An object without its type.
template < class T >
Zet::Ptr< Zet::GenericIf >
reflected( Zet::Ptr< T > const& object ) {
   return object->fwkType()->genericIf( object, false );
}
template < class T >
Zet::Ptr< Zet::GenericIf >
reflected( Zet::Ptr< T const > const& object ) {
   return object->fwkType()->genericIf( object );
}

// In which order the collections of an object become those of another.
enum class CopyOrder {
   addFirst,    // Members are added, values are set, members are removed.
   removeFirst, // The other way round.
};

// Makes all that is configuration in `to` as it is in `from`, an object of the same type. What is
// the same already is not touched.
void copyConfiguration( Zet::GenericIf& from, Zet::GenericIf& to, CopyOrder order );

// Whether all that is configuration is the same in both, which are of the same type.
bool isConfiguredAlike( Zet::GenericIf& left, Zet::GenericIf& right );

// "groupLinkStatus 'down', numTimesDisabled 3": the scalars that make up the object's state.
std::string scalarsText( Zet::GenericIf& object );

} // namespace Ufdd
