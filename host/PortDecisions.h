#pragma once

#include "model/Config.h"
#include "model/Status.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "platform/kelnet/IntfId.h"

#include <cstddef>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

namespace UplinkFailureDetection {

// Decides which ports (downstream interfaces) must be shut. A port must be shut while any group
// that lists it is down.
//
// A host lets the library handle all events of one turn of its loop. At the end of the turn it
// calls takeChanges(), and shuts and opens the ports that this returns. Changes that were undone
// within the turn are left out, so that no port blinks.
//
// The decisions come from the groups' statuses and the configuration. The entries of the
// CauseStatus, which ufdd does not read, say less: a group removes entries without regard to other
// groups. A port that such a group shares with one that is down has no entry then until the
// latter is evaluated again.
class ZET_EXPORT PortDecisions {
 public:
   // Replaces the rule above, for a host with delays, dry runs or exceptions.
   class ZET_EXPORT Policy {
    public:
      // Returns true if the group needs the port shut. A port of several groups must be shut if one
      // of them needs that. takeChanges() calls this for each port of a group that may have
      // changed.
      virtual bool shuts( GroupConfig const& group, Kelnet::IntfId port ) const = 0;

    protected:
      ~Policy() = default;
   };

   // Decides by the groups' statuses. The library's machine may start before or after this.
   // Requires: no argument is null.
   PortDecisions( Zet::Ptr< Config const > const& config, Zet::Ptr< Status const > const& status,
                  Zet::Ptr< Interface::EthIntfStatusDir const > const& directory );
   // Decides by `policy`. Call decideAgain() when its answers for a group have changed.
   // Borrows: policy.
   PortDecisions( Zet::Ptr< Config const > const& config, Policy const& policy,
                  Zet::Ptr< Interface::EthIntfStatusDir const > const& directory );
   ~PortDecisions();
   PortDecisions( PortDecisions const& ) = delete;
   PortDecisions& operator=( PortDecisions const& ) = delete;

   struct Change {
      Kelnet::IntfId port;
      bool mustBeShut;
   };
   // Returns the ports whose decision differs from the last call. Before the first call, no port
   // must be shut. A port that must be shut is returned once more when its interface is added to
   // the directory: a new interface is taken to be open.
   std::vector< Change > takeChanges();
   // Returns true if the port must be shut, as of the last takeChanges(). For interfaces that the
   // directory does not show, and those that the host found shut when it started.
   bool mustBeShut( Kelnet::IntfId port ) const { return ports_.contains( port ); }

   // Returns the ports that the group needs shut, as of the last takeChanges().
   std::vector< Kelnet::IntfId > shutBy( Zet::Name const& group ) const;

   // Makes the next takeChanges() ask the policy about the ports of that group.
   void decideAgain( Zet::Name const& group );

 private:
   class ConfigObserver;
   class GroupObserver;
   class DirectoryObserver;
   class DownIsShut;

   struct Group {
      Zet::Ptr< GroupObserver > observer; // Of its configuration; null if that was removed.
      std::vector< Kelnet::IntfId > shut; // The ports that the group needs shut.
      bool isDue = false;                 // The group is in due_.
   };
   using Groups = std::map< Zet::Name, Group >;
   // A port that must be shut.
   struct Port {
      unsigned int groups = 0; // Number of groups that need the port shut.
      bool isTold = false;     // takeChanges() has returned that it must be shut.
      bool isNew = false;      // Its interface was added since takeChanges() returned it.
   };
   PortDecisions( Zet::Ptr< Config const > const& config, Policy const* policy,
                  Zet::Ptr< Interface::EthIntfStatusDir const > const& directory );

   void handleGroup( Zet::Name const& name );
   void handleInterface( Kelnet::IntfId intfId );
   void decide( Groups::iterator group );

   Zet::Ptr< Config const > const config_;
   Zet::Ptr< Interface::EthIntfStatusDir const > const directory_;
   Groups groups_;
   std::vector< Groups::iterator > due_; // Groups to decide again.
   std::unordered_map< Kelnet::IntfId, Port > ports_;
   std::vector< Kelnet::IntfId > touched_;    // Ports whose decision may have changed.
   std::unique_ptr< DownIsShut > downIsShut_; // Null for a host with a policy.
   Policy const* policy_;
   Zet::Ptr< ConfigObserver > const configObserver_;
   Zet::Ptr< DirectoryObserver > const directoryObserver_;
};

} // namespace UplinkFailureDetection
