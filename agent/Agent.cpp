#include "agent/Agent.h"

namespace Ufdd {

Agent::Agent( LinkControl& control, Ownership& ownership, Log& log )
    : links_( detector_.directory ), holder_( detector_, links_, control, ownership, log ),
      groupLog_( detector_, links_, log ) {
   links_.observerIs( holder_ );
}

void
Agent::start( std::vector< GroupSettings > const& groups, LinkSource& source ) {
   for ( GroupSettings const& group : groups )
      for ( auto const* const list : { &group.monitor, &group.disable } )
         for ( std::string const& name : *list )
            links_.watch( Kelnet::IntfId( name ) );
   holder_.beginAdoption();
   source.start( links_ );
   holder_.endAdoption();
   detector_.configure( groups );
   detector_.start();
   settle();
}

} // namespace Ufdd
