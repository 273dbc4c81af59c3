#include "agent/detect/LinkCause.h"

namespace Ufdd {

std::string
LinkCause::text() const {
   std::string const name( link.name().view() );
   switch ( kind ) {
   case Kind::none:
      return "";
   case Kind::up:
      return name + " is up";
   case Kind::lostCarrier:
      return name + " lost carrier";
   case Kind::adminDown:
      return name + " administratively down";
   case Kind::dormant:
      return name + " has carrier but is dormant";
   case Kind::removed:
      return name + " removed";
   case Kind::renamed:
      return name + " is now called " + std::string( newName.view() );
   }
   return "";
}

} // namespace Ufdd
