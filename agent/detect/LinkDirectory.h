#pragma once

#include "agent/detect/LinkNews.h"
#include "agent/kernel/LinkSource.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Ufdd {

// Keeps the directory of interface statuses in step with the kernel's links, for the names that
// matter. An entry follows the name, be it an alternative one: whichever link has it now is meant.
class LinkDirectory final : public LinkListener {
 public:
   // Hears of a link once the directory knows it.
   class Observer {
    public:
      // A link was not there before; handleLink() follows.
      virtual void handleNew( Link const& link ) = 0;
      // A link is new, or was told of again.
      virtual void handleLink( Link const& link ) = 0;
      virtual void handleRenamed( std::uint32_t index, InterfaceName const& name ) = 0;
      virtual void handleGone( std::uint32_t index ) = 0;

    protected:
      ~Observer() = default;
   };

   explicit LinkDirectory( Zet::Ptr< Interface::EthIntfStatusDir > directory );

   // The directory tells of the links of these names, as far as there are any, from now on.
   void watch( std::span< Kelnet::IntfId const > ports );
   // Of other names it does no longer. Requires: nobody asks for these.
   void watchOnly( std::span< Kelnet::IntfId const > ports );
   // Borrows: observer.
   void observerIs( Observer& observer ) { observer_ = &observer; }

   // As they were last told of; null when there is none, be it that the name is not watched.
   // Valid until: the next news.
   Link const* link( std::uint32_t index ) const;
   Link const* link( Kelnet::IntfId port ) const;
   // Calls action( Kelnet::IntfId ) for each watched name of that link.
   template < class Action > void forEachName( std::uint32_t index, Action action ) const {
      if ( auto const at = links_.find( index ); at != links_.end() )
         for ( Port const* const port : at->second.ports )
            if ( port->index == index )
               action( port->id );
   }
   // The indexes of those of which the kernel was still to say what it makes of their carrier.
   std::vector< std::uint32_t > unsettled() const;
   // Adds the parts of the LAG of that index to `members`.
   void collectMembers( std::uint32_t lag, std::vector< Link >& members ) const;
   // What is being told to the directory; no news outside of that.
   LinkNews const& news() const { return news_; }
   // What was told since forgetChanges() and changed an operational state.
   std::vector< LinkNews > const& changes() const { return changes_; }
   void forgetChanges() { changes_.clear(); }

   void handleLinks( std::span< Link const > links ) override;
   void handleLink( Link const& link ) override;
   void handleLinkGone( std::uint32_t index ) override;

 private:
   // A watched name.
   struct Port {
      Kelnet::IntfId id;
      std::uint32_t index = 0;                     // Of the link that has it, or 0.
      Zet::Ptr< Interface::EthIntfStatus > status; // In the directory while there is a link.
   };

   struct Known {
      Link link;
      std::vector< Port* > ports; // Of those of its names that are watched.
   };

   void watch( Kelnet::IntfId port );
   void handleName( Known& known, Link const& link );
   void handleState( Port& port, Link const& link );
   std::vector< Port* > portsOf( Link const& link );
   void leave( Port& port, std::uint32_t index, LinkNews const& news );

   Zet::Ptr< Interface::EthIntfStatusDir > const directory_;
   Observer* observer_ = nullptr;
   LinkNews news_;
   std::vector< LinkNews > changes_;
   std::unordered_map< std::string_view, Port > ports_; // By name.
   std::unordered_map< std::uint32_t, Known > links_;   // By index.
};

} // namespace Ufdd
