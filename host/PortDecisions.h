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
// A host lets the library handle all that one turn of its event loop brings. At the end of the turn
// it calls takeChanges(), and shuts and opens the ports that it is given. Changes that were undone
// within the turn are left out, so that no port blinks.
//
// The decisions come from the groups' statuses and the configuration. The entries of the
// CauseStatus, which ufdd does not read, say less: a group removes entries without regard to other
// groups. A port that such a group shares with one that is down has no entry then until the next
// check of the latter.
class ZET_EXPORT PortDecisions {
 public:
   // Decides otherwise, for a host with delays, dry runs or exceptions.
   class ZET_EXPORT Policy {
    public:
      // Returns true if the group keeps the port shut; a port of several groups is shut if one of
      // them does. Called by takeChanges() for each port of a group that may have changed.
      virtual bool shuts( GroupConfig const& group, Kelnet::IntfId port ) const = 0;

    protected:
      ~Policy() = default;
   };

   // The machine may have been started on these objects already, or be started later.
   // Requires: none is null.
   PortDecisions( Zet::Ptr< Config const > const& config, Zet::Ptr< Status const > const& status,
                  Zet::Ptr< Interface::EthIntfStatusDir const > const& directory );
   // Leaves to `policy` which groups are down; decideAgain() tells when that has changed.
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
   // Returns what is decided otherwise than at the last call. At first, every port may be open.
   // A port that must be shut is told of once more when its interface has come into the directory,
   // again or for the first time: a new interface is taken to be open.
   std::vector< Change > takeChanges();
   // Returns true if the port must be shut, by the last takeChanges(). An interface that the
   // directory does not show, or that the host may have found shut when it started, is to be set
   // to this.
   bool mustBeShut( Kelnet::IntfId port ) const { return ports_.contains( port ); }

   // Has the next takeChanges() ask the policy about the ports of that group.
   void decideAgain( Zet::Name const& group );

 private:
   class ConfigObserver;
   class GroupObserver;
   class DirectoryObserver;
   class DownIsShut;

   struct Group {
      Zet::Ptr< GroupObserver > observer; // Of its configuration.
      std::vector< Kelnet::IntfId > shut; // The ports that it shuts.
      bool isDue = false;                 // It is in due_.
   };
   using Groups = std::map< Zet::Name, Group >;
   // One that must be shut.
   struct Port {
      unsigned int groups = 0; // That shut it.
      bool isTold = false;
      bool isNew = false; // Its interface came since it was told of.
   };
   struct IntfIdHash {
      std::size_t operator()( Kelnet::IntfId id ) const noexcept { return id.value(); }
   };

   PortDecisions( Zet::Ptr< Config const > const& config, Policy const* policy,
                  Zet::Ptr< Interface::EthIntfStatusDir const > const& directory );

   void handleGroup( Zet::Name const& name );
   void handleInterface( Kelnet::IntfId intfId );
   void decide( Groups::iterator group );

   Zet::Ptr< Config const > const config_;
   Zet::Ptr< Interface::EthIntfStatusDir const > const directory_;
   Groups groups_;
   std::vector< Groups::iterator > due_; // To be decided again.
   std::unordered_map< Kelnet::IntfId, Port, IntfIdHash > ports_;
   std::vector< Kelnet::IntfId > touched_;    // Perhaps to be told of.
   std::unique_ptr< DownIsShut > downIsShut_; // Null for a host with a policy.
   Policy const* policy_;
   Zet::Ptr< ConfigObserver > const configObserver_;
   Zet::Ptr< DirectoryObserver > const directoryObserver_;
};

} // namespace UplinkFailureDetection
