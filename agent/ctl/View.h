#pragma once

#include "agent/base/WallTime.h"
#include "agent/status/StatusRoots.h"
#include "model/GroupConfig.h"
#include "model/GroupStatus.h"

#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// The state of ufdd at one moment, sorted: wrong and missing things come first.
// Texts and JSON are made from it. It borrows the replicas' entities, and is valid until these
// change.
struct View {
   using Link = Zet::Ptr< LinkState const >;
   using Port = Zet::Ptr< PortState const >;
   using Check = Zet::Ptr< CheckState const >;

   // None of the pointers is ever null. An entity that ufdd does not tell of has its initial
   // values.
   struct Group {
      Zet::Ptr< UplinkFailureDetection::GroupStatus const > status;
      Zet::Ptr< UplinkFailureDetection::GroupConfig const > config;
      Zet::Ptr< GroupState const > state;
      std::vector< Link > uplinks;
      std::vector< Check > checks; // Of its uplinks.
      std::vector< Port > ports;

      std::string_view name() const { return state->zetName().view(); }
      bool isUp() const {
         return status->groupLinkStatus() == UplinkFailureDetection::GroupLinkStatus::up;
      }
   };

   View( StatusRoots const& roots, Moment const& at );

   // Keeps only that group, with its links, ports and checks, unless `name` is empty.
   // Throws: Failure, which names the nearest group, when there is no such group.
   void keepGroup( std::string const& name );
   // Puts everything in the order of the names, and not what is wrong first: two views differ only
   // where a value does.
   void orderByName();
   // Returns the port of that name.
   // Throws: Failure, which names the nearest port, when there is no such port.
   Port port( std::string const& name ) const;
   // Returns the check of that name.
   // Throws: Failure, which names the nearest check, when there is no such check.
   Check check( std::string const& name ) const;
   // Returns the state of the port's own link; its initial state if ufdd does not tell of it.
   Link linkOf( PortState const& port ) const;
   // Returns true if the group only logs what it would do.
   bool isDryRun( Zet::Name const& group ) const;
   // Returns true if everything is as it should be: all uplinks and groups are up, all their
   // checks pass, all ports are open, and the configuration file is in force.
   bool isHealthy() const;

   Moment now;
   Zet::Ptr< State const > agent;
   std::vector< Group > groups;
   std::vector< Link > links; // Uplinks and ports.
   std::vector< Check > checks;
   std::vector< Port > ports; // Also those that no group disables any more.
};

// Returns true if a group wants the port shut, perhaps one in dry run.
bool isWantedShut( PortState const& port );

// How wrong something is; the greater, the more.
enum class Severity { good, warning, bad };
Severity severityOf( LinkState const& link );
Severity severityOf( CheckState const& check );
Severity severityOf( PortState const& port );
Severity severityOf( View::Group const& group );

inline std::string
nameOf( Zet::Entity const& entity ) {
   return std::string( entity.zetName().view() );
}

} // namespace Ufdd
