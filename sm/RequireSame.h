#pragma once

#include "platform/zet/Exception.h"
#include "platform/zet/Strep.h"

namespace UplinkFailureDetection {

// Requires an argument of an existing machine to be the one that the machine was made with.
// Throws: NameInUseException otherwise.
template < class T >
void
requireSame( char const* parameter, T const* wanted, T const* current ) {
   if ( wanted != current )
      Zet::throwNameInUseException(
          "Reinstantiating the pointer interface where constructor parameter attribute " +
          Zet::String8( parameter ) + " has a different value of " + Zet::valueToStrep( wanted ) +
          " than the current value of " + Zet::valueToStrep( current ) + " not allowed" );
}

} // namespace UplinkFailureDetection
