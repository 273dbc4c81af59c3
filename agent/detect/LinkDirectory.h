#pragma once

#include "agent/detect/LinkCause.h"
#include "agent/kernel/LinkSource.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Ufdd {

// Keeps the directory of interface statuses in step with the kernel's links, for the watched names.
// An entry belongs to a name, perhaps an alternative one, and shows the link that has it now.
class LinkDirectory final : public LinkListener {
 public:
   class Listener {
    public:
      // Called before the interface directory shows the link's new state. handleLink() follows.
      virtual void handleNew( Link const& link ) = 0;
      virtual void handleRenamed( std::uint32_t index, InterfaceName const& name ) = 0;
      // A message about the link has come, and the interface directory is up to date.
      virtual void handleLink( Link const& link ) = 0;
      // The link is in another network namespace now. handleGone() follows.
      virtual void handleMoved( std::uint32_t index ) = 0;
      virtual void handleGone( std::uint32_t index ) = 0;

    protected:
      ~Listener() = default;
   };

   explicit LinkDirectory( Zet::Ptr< Interface::EthIntfStatusDir > directory );

   // Watches these names as well: the directory shows the links that have them.
   void watch( std::span< Kelnet::IntfId const > names );
   // Stops watching all other names. Requires: nobody uses them any more.
   void watchOnly( std::span< Kelnet::IntfId const > names );
   // Has the uplink count as down, whatever its link does, until `failure` is empty again. Holds
   // for each link that gets the name. No effect on a name that is not watched.
   void failureIs( Kelnet::IntfId name, Zet::String8 failure );
   // Borrows: listener.
   void listenerIs( Listener& listener ) { listener_ = &listener; }

   // Returns the link as its last message describes it; null when there is none, or when the name
   // is not watched. Valid until: the next message.
   Link const* link( std::uint32_t index ) const;
   Link const* link( Kelnet::IntfId name ) const;
   // Calls action( Kelnet::IntfId ) for each watched name of that link.
   template < class Action > void forEachName( std::uint32_t index, Action action ) const {
      if ( auto const at = links_.find( index ); at != links_.end() )
         for ( WatchedName const* const name : at->second.names )
            if ( name->index == index )
               action( name->id );
   }
   // Calls action( Link const& ) for each link.
   template < class Action > void forEachLink( Action action ) const {
      for ( auto const& [ index, known ] : links_ )
         action( known.link );
   }
   // Returns the indexes of links whose operational state lags behind their carrier.
   std::vector< std::uint32_t > outdated() const;
   // Returns all names of all links. Valid until: the next message.
   std::vector< std::string_view > names() const;
   // Grows when a link comes or goes, or changes its name, its master or the link that it runs on.
   std::uint64_t shape() const { return shape_; }
   // Adds the members of the LAG or bridge of that index to `members`.
   void collectMembers( std::uint32_t master, std::vector< Link >& members ) const;
   // The change that is being written to the directory; none outside of that.
   LinkCause const& cause() const { return cause_; }
   // The changes of operational states since forgetChanges().
   std::vector< LinkCause > const& changes() const { return changes_; }
   void forgetChanges() { changes_.clear(); }
   // Returns what the last message and the checks made of the link of that name; `absent` when
   // there is no link, or when the name is not watched. Never `unproven`.
   LinkCondition conditionOf( Kelnet::IntfId name ) const;
   // Returns what failureIs() has set.
   Zet::String8 failureOf( Kelnet::IntfId name ) const;
   // Returns true if the link is up, whatever its checks say.
   bool isLinkUp( Kelnet::IntfId name ) const;
   // The watched names about whose links there were messages since forgetTouched(), and those of
   // the LAGs that these links are members of. A name may be there more than once.
   std::vector< Kelnet::IntfId > const& touched() const { return touched_; }
   // When the first of these messages came, by Zet::now().
   double touchedAt() const { return touchedAt_; }
   void forgetTouched() { touched_.clear(); }

   void handleLinks( std::span< Link const > links ) override;
   void handleLink( Link const& link ) override;
   void handleLinkMoved( std::uint32_t index ) override;
   void handleLinkGone( std::uint32_t index ) override;

 private:
   // A watched name.
   struct WatchedName {
      Kelnet::IntfId id;
      std::uint32_t index = 0;                         // The link that has it, or 0.
      Zet::Ptr< Interface::EthIntfStatus > status;     // In the directory while there is a link.
      LinkCondition condition = LinkCondition::absent; // Of the link alone.
      Zet::String8 failure = {};                       // See failureIs().
   };

   struct KnownLink {
      Link link;
      std::vector< WatchedName* > names; // Its watched names.
   };

   void watch( Kelnet::IntfId name );
   void handleName( KnownLink& known, Link const& link );
   void handleState( WatchedName& name, Link const& link );
   static LinkCondition effectiveCondition( WatchedName const& name );
   std::vector< WatchedName* > watchedOf( Link const& link );
   void touch( KnownLink const& known );
   void touch( Kelnet::IntfId name );
   void leave( WatchedName& name, std::uint32_t index, LinkCause const& cause );

   Zet::Ptr< Interface::EthIntfStatusDir > const directory_;
   Listener* listener_ = nullptr;
   LinkCause cause_;
   std::uint64_t shape_ = 0;
   std::vector< LinkCause > changes_;
   std::vector< Kelnet::IntfId > touched_;
   double touchedAt_ = 0;
   std::unordered_map< std::string_view, WatchedName > watched_; // By name.
   std::unordered_map< std::uint32_t, KnownLink > links_;        // By index.
};

} // namespace Ufdd
