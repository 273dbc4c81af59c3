#include "host/PortDecisions.h"

#include "host/GroupTransitions.h"
#include "host/Observing.h"
#include "model/GroupConfig.h"
#include "model/GroupStatus.h"

#include <utility>

namespace UplinkFailureDetection {

class PortDecisions::ConfigObserver final : public Config::NotifieeConst {
 public:
   explicit ConfigObserver( PortDecisions& owner ) : owner_( owner ) {}
   void onGroup( Zet::Name name ) override { owner_.handleGroup( name ); }

 private:
   PortDecisions& owner_;
};

class PortDecisions::GroupObserver final : public GroupConfig::NotifieeConst {
 public:
   explicit GroupObserver( PortDecisions& owner ) : owner_( owner ) {}
   void onIntfsToDisable( Kelnet::IntfId ) override { owner_.decideAgain( notifier()->name() ); }

 private:
   PortDecisions& owner_;
};

class PortDecisions::DirectoryObserver final : public Interface::EthIntfStatusDir::NotifieeConst {
 public:
   explicit DirectoryObserver( PortDecisions& owner ) : owner_( owner ) {}
   void onIntfStatus( Kelnet::IntfId intfId ) override { owner_.handleInterface( intfId ); }

 private:
   PortDecisions& owner_;
};

// The policy for a host without one: a group shuts its ports while it is down.
class PortDecisions::DownIsShut final : public Policy, private GroupTransitions::Listener {
 public:
   DownIsShut( Zet::Ptr< Status const > const& status, PortDecisions& owner )
       : status_( *status ), owner_( owner ), transitions_( status, *this ) {}

   bool shuts( GroupConfig const& group, Kelnet::IntfId ) const override {
      auto const status = status_.group( group.name() );
      return status && status->groupLinkStatus() == GroupLinkStatus::down;
   }

 private:
   void handleTransition( Zet::Name const& group, GroupLinkStatus, GroupLinkStatus ) override {
      owner_.decideAgain( group );
   }
   void handleGroupGone( Zet::Name const& group ) override { owner_.decideAgain( group ); }

   Status const& status_;
   PortDecisions& owner_;
   GroupTransitions const transitions_;
};

PortDecisions::PortDecisions( Zet::Ptr< Config const > const& config,
                              Zet::Ptr< Status const > const& status,
                              Zet::Ptr< Interface::EthIntfStatusDir const > const& directory )
    : PortDecisions( config, nullptr, directory ) {
   downIsShut_ = std::make_unique< DownIsShut >( status, *this );
   policy_ = downIsShut_.get();
}

PortDecisions::PortDecisions( Zet::Ptr< Config const > const& config, Policy const& policy,
                              Zet::Ptr< Interface::EthIntfStatusDir const > const& directory )
    : PortDecisions( config, &policy, directory ) {}

PortDecisions::PortDecisions( Zet::Ptr< Config const > const& config, Policy const* policy,
                              Zet::Ptr< Interface::EthIntfStatusDir const > const& directory )
    : config_( config ), directory_( directory ), policy_( policy ),
      configObserver_( observing< ConfigObserver >( config, *this ) ),
      directoryObserver_( observing< DirectoryObserver >( directory, *this ) ) {
   for ( auto group = config->groupIteratorConst(); group; ++group )
      handleGroup( group->name() );
}

PortDecisions::~PortDecisions() = default;

void
PortDecisions::handleGroup( Zet::Name const& name ) {
   auto const group = config_->group( name );
   groups_[ name ].observer = group ? observing< GroupObserver >( group, *this ) : nullptr;
   decideAgain( name );
}

void
PortDecisions::handleInterface( Kelnet::IntfId intfId ) {
   auto const port = ports_.find( intfId );
   if ( port == ports_.end() || !directory_->intfStatus( intfId ) )
      return;
   port->second.isNew = true;
   touched_.push_back( intfId );
}

std::vector< Kelnet::IntfId >
PortDecisions::shutBy( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   return at == groups_.end() ? std::vector< Kelnet::IntfId >() : at->second.shut;
}

void
PortDecisions::decideAgain( Zet::Name const& name ) {
   auto const group = groups_.try_emplace( name ).first;
   if ( !std::exchange( group->second.isDue, true ) )
      due_.push_back( group );
}

void
PortDecisions::decide( Groups::iterator at ) {
   auto& [ name, group ] = *at;
   group.isDue = false;
   std::vector< Kelnet::IntfId > const before = std::exchange( group.shut, {} );
   if ( auto const config = config_->group( name ) )
      for ( auto port = config->intfsToDisableIteratorConst(); port; ++port )
         if ( policy_->shuts( *config, port.key() ) )
            group.shut.push_back( port.key() );
   for ( Kelnet::IntfId const port : group.shut )
      ++ports_[ port ].groups;
   for ( Kelnet::IntfId const port : before )
      --ports_[ port ].groups;
   touched_.insert( touched_.end(), group.shut.begin(), group.shut.end() );
   touched_.insert( touched_.end(), before.begin(), before.end() );
   if ( !group.observer && group.shut.empty() )
      groups_.erase( at );
}

std::vector< PortDecisions::Change >
PortDecisions::takeChanges() {
   for ( Groups::iterator const group : std::exchange( due_, {} ) )
      decide( group );
   std::vector< Change > changes;
   for ( Kelnet::IntfId const touched : std::exchange( touched_, {} ) ) {
      auto const at = ports_.find( touched );
      // The port is in touched_ twice and was erased at the first time.
      if ( at == ports_.end() )
         continue;
      Port& port = at->second;
      bool const mustBeShut = port.groups != 0;
      bool const isNew = std::exchange( port.isNew, false );
      if ( std::exchange( port.isTold, mustBeShut ) != mustBeShut || isNew )
         changes.push_back( { touched, mustBeShut } );
      if ( !mustBeShut )
         ports_.erase( at );
   }
   return changes;
}

} // namespace UplinkFailureDetection
