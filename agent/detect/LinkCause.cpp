#include "agent/detect/LinkCause.h"

namespace Ufdd {

std::string
LinkCause::text() const {
   if ( isNone() )
      return "";
   std::string const name( link.name().view() );
   switch ( condition ) {
   case LinkCondition::up:
      return name + " is up";
   case LinkCondition::noCarrier:
      return name + " lost carrier";
   case LinkCondition::setDown:
      return name + " administratively down";
   case LinkCondition::dormant:
      return name + " has carrier but is dormant";
   case LinkCondition::failedCheck:
      return name + ' ' + std::string( failure.view() );
   case LinkCondition::absent:
   case LinkCondition::unproven:
      break;
   }
   return newName.view().empty() ? name + " removed"
                                 : name + " is now called " + std::string( newName.view() );
}

} // namespace Ufdd
