#pragma once

#include "agent/config/ConfigFile.h"
#include "agent/ctl/View.h"
#include "host/PortDecisions.h"
#include "model/Config.h"
#include "model/GroupLinkStatus.h"
#include "model/Status.h"
#include "platform/errdisable/CauseStatus.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "sm/Root.h"

#include <map>
#include <set>
#include <string>

namespace Ufdd {

// An instance of the library that watches no link: its configuration and its links are what the
// caller imagines. It knows no delays; they are told beside the decisions.
class ImaginedDetector final : private UplinkFailureDetection::PortDecisions::Policy {
 public:
   // How a group acts on its ports.
   struct Manner {
      GroupMode mode = GroupMode::acting;
      double downDelay = 0;     // In seconds.
      double recoveryDelay = 0; // In seconds.
      unsigned int minLinks = 1;
      unsigned int recoverLinks = 1;
      bool hasFallen = false; // It needs recoverLinks to be up.
      // The routes that must exist before its ports are opened, and for how many seconds it waits
      // for them at most.
      Zet::String8 releaseWhen = {};
      double releaseTimeout = 0;
      bool autoRecover = true;
   };

   // Adds the groups of the view.
   void configure( View const& view );
   // Adds the groups of the file. Those that the view shows as down are so, and orders stand.
   void configure( ConfigFile const& file, View const& view );
   // A link that is not set is absent.
   void setLink( Kelnet::IntfId link, bool isUp );
   void setUnproven( Kelnet::IntfId link ) { unproven_.insert( link ); }
   void setOrderedDown( Kelnet::IntfId port ) { ordered_.insert( port ); }
   bool isOrderedDown( Kelnet::IntfId port ) const { return ordered_.contains( port ); }
   // Evaluates the groups by the links that have been set, and follows changes from then on.
   void start();
   // Decides about all ports, as if all delays had passed. A group that is down needs its
   // recover_links from then on.
   void decide();

   UplinkFailureDetection::Config const& config() const { return *config_; }
   bool hasLink( Kelnet::IntfId link ) const { return directory_->intfStatus( link ); }
   bool isUp( Kelnet::IntfId link ) const;
   // As of the last decide().
   bool mustBeShut( Kelnet::IntfId port ) const { return decisions_.mustBeShut( port ); }
   // Requires: the group is configured.
   Manner const& manner( Zet::Name const& group ) const { return manners_.at( group ); }
   UplinkFailureDetection::GroupLinkStatus status( Zet::Name const& group ) const;
   unsigned int upLinks( UplinkFailureDetection::GroupConfig const& group ) const;
   // Returns what would be told of the group's uplinks.
   Zet::Ptr< GroupState > newState( UplinkFailureDetection::GroupConfig const& group ) const;
   // Returns true if the group wants its ports shut, whether it acts or not.
   bool wantsShut( UplinkFailureDetection::GroupConfig const& group ) const;
   // Returns what keeps the group from shutting its ports; empty if nothing does.
   std::string hindrance( UplinkFailureDetection::GroupConfig const& group ) const;

 private:
   void add( UplinkFailureDetection::GroupConfig const& group, Manner const& manner );
   void setNeeded( UplinkFailureDetection::GroupConfig const& group, Manner const& manner );
   bool shuts( UplinkFailureDetection::GroupConfig const& group,
               Kelnet::IntfId port ) const override;

   Zet::Ptr< UplinkFailureDetection::Config > const config_ =
       UplinkFailureDetection::configFactory( "config" );
   Zet::Ptr< UplinkFailureDetection::Status > const status_ =
       UplinkFailureDetection::statusFactory( "status" );
   Zet::Ptr< Errdisable::CauseStatus > const causeStatus_ =
       Errdisable::CauseStatus::CauseStatusIs( "what-if" );
   Zet::Ptr< Interface::EthIntfStatusDir > const directory_ =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "interfaces" );
   std::map< Zet::Name, Manner > manners_; // By group.
   std::set< Kelnet::IntfId > unproven_;
   std::set< Kelnet::IntfId > ordered_;
   UplinkFailureDetection::PortDecisions decisions_{ config_, *this, directory_ };
   Zet::Ptr< UplinkFailureDetection::Root > const root_ =
       UplinkFailureDetection::rootFactory( "root" );
};

} // namespace Ufdd
