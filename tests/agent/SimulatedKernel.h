#pragma once

#include "agent/LinkControl.h"
#include "agent/LinkSource.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Ufdd {

// Stands in for the kernel's links. News wait until they are delivered, so that requests can meet
// a state that the daemon hasn't heard of yet.
class SimulatedKernel : public LinkSource, public LinkControl {
 public:
   void start( LinkListener& listener ) override {
      listener_ = &listener;
      news_.clear();
      tellAll();
   }
   // What happened is dropped, and told of as one list of all links.
   void overrun() {
      news_.clear();
      tellAll();
   }
   void deliver() {
      for ( ; !news_.empty(); news_.pop_front() )
         news_.front()( *listener_ );
   }

   void apply( std::span< LinkRequest > requests ) override {
      if ( beforeActs )
         beforeActs();
      for ( LinkRequest& request : requests ) {
         auto const link = std::find_if( links_.begin(), links_.end(), [ & ]( auto const& l ) {
            return l.second.index == request.index;
         } );
         if ( link == links_.end() ) {
            request.error = ENODEV;
            continue;
         }
         request.before = request.after = link->second;
         if ( request.onlyAsk )
            continue;
         if ( request.means != LinkRequest::Means::adminDown &&
              !protoDownDrivers.contains( link->first ) )
            request.error = EOPNOTSUPP;
         else if ( auto const refusal = refusals.find( link->first ); refusal != refusals.end() )
            request.error = refusal->second;
         // The other refusals are answers to an act that was done, lost on the way.
         if ( request.error && request.error != ENOBUFS )
            continue;
         act( link->first, request );
         request.after = link->second;
      }
   }

   void add( std::string const& name, bool adminUp = true ) {
      links_[ name ] = { .index = nextIndex++,
                         .name = InterfaceName( name ),
                         .address = nextAddress++,
                         .adminUp = adminUp,
                         .carrier = true };
      tell( name );
   }
   void set( std::string const& name, bool adminUp ) {
      links_.at( name ).adminUp = adminUp;
      tell( name );
   }
   void carrier( std::string const& name, bool carrier ) {
      links_.at( name ).carrier = carrier;
      tell( name );
   }
   void operState( std::string const& name, std::uint8_t operState ) {
      links_.at( name ).operState = operState;
      tell( name );
   }
   void protoDown( std::string const& name, bool on, std::uint32_t reasons ) {
      Link& link = links_.at( name );
      link.protoDown = on;
      link.protoDownReasons = reasons;
      link.carrier = !on || slipping.contains( name );
      tell( name );
   }
   // Makes one interface a part of another, which is a LAG, or of none.
   void join( std::string const& name, std::string const& lag ) {
      links_.at( name ).master = lag.empty() ? 0 : links_.at( lag ).index;
      if ( !lag.empty() )
         links_.at( lag ).isLag = true;
      tell( name );
   }
   void remove( std::string const& name ) {
      news_.push_back( [ index = links_.at( name ).index ]( LinkListener& listener ) {
         listener.handleLinkGone( index );
      } );
      links_.erase( name );
   }
   void rename( std::string const& from, std::string const& to ) {
      Link link = links_.extract( from ).mapped();
      link.name = InterfaceName( to );
      links_[ to ] = link;
      tell( to );
   }
   Link const& link( std::string const& name ) const { return links_.at( name ); }
   bool isUp( std::string const& name ) const { return links_.at( name ).adminUp; }

   std::uint32_t index( std::string const& name ) const { return links_.at( name ).index; }

   std::uint32_t nextIndex = 1;
   std::string acts; // " -d1 +d2", since it was last emptied.
   std::map< std::string, int > refusals;
   std::set< std::string > protoDownDrivers; // The interfaces that have it.
   std::set< std::string > slipping;         // Have carrier in spite of protodown.
   std::function< void() > beforeActs;

 private:
   void act( std::string const& name, LinkRequest& request ) {
      Link& link = links_.at( name );
      bool const isAdmin = request.means == LinkRequest::Means::adminDown;
      acts += std::string( isAdmin ? "" : " protodown" ) + ( request.up ? " +" : " -" ) + name;
      if ( isAdmin ) {
         if ( link.adminUp != request.up )
            set( name, request.up );
         return;
      }
      std::uint32_t const bit = 1u << request.reason;
      link.protoDownReasons =
          request.up ? link.protoDownReasons & ~bit : link.protoDownReasons | bit;
      if ( request.up && link.protoDownReasons && request.means == LinkRequest::Means::protoDown )
         request.error = EBUSY;
      else if ( request.means == LinkRequest::Means::protoDown || !request.up )
         protoDown( name, !request.up, link.protoDownReasons );
   }
   void tell( std::string const& name ) {
      news_.push_back(
          [ link = links_.at( name ) ]( LinkListener& listener ) { listener.handleLink( link ); } );
   }
   void tellAll() {
      std::vector< Link > links;
      for ( auto const& [ name, link ] : links_ )
         links.push_back( link );
      listener_->handleLinks( links );
   }

   std::uint64_t nextAddress = 0x020000000001;
   LinkListener* listener_ = nullptr;
   std::map< std::string, Link > links_;
   std::deque< std::function< void( LinkListener& ) > > news_;
};

} // namespace Ufdd
