#pragma once

#include "agent/LinkControl.h"
#include "agent/LinkSource.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <functional>
#include <map>
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
         request.before = link->second;
         if ( auto const refusal = refusals.find( link->first ); refusal != refusals.end() )
            request.error = refusal->second;
         // The other refusals are answers to an act that was done, lost on the way.
         if ( request.error && request.error != ENOBUFS )
            continue;
         acts += ( request.up ? " +" : " -" ) + link->first;
         if ( request.before.adminUp != request.up )
            set( link->first, request.up );
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
   bool isUp( std::string const& name ) const { return links_.at( name ).adminUp; }

   std::uint32_t index( std::string const& name ) const { return links_.at( name ).index; }

   std::uint32_t nextIndex = 1;
   std::string acts; // " -d1 +d2", since it was last emptied.
   std::map< std::string, int > refusals;
   std::function< void() > beforeActs;

 private:
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
