#include "bench/reaction/Place.h"

#include "agent/kernel/LinkMessage.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <net/if.h>
#include <stdexcept>

namespace Bench {

using namespace Ufdd;

void
ip( std::string const& commands ) {
   TextFile const batch( commands );
   if ( std::system( ( "ip -batch " + batch.path() ).c_str() ) != 0 )
      throw std::runtime_error( "the interfaces can't be made" );
}

Place::Place( std::string const& peer, std::size_t number, Case const& about,
              std::string const& startPeer )
    : peer_( peer ) {
   std::string const suffix = std::to_string( number );
   std::vector< std::string > arguments{ peer, "u" + suffix };
   for ( int i = 0; i < about.ports; ++i )
      arguments.push_back( "d" + suffix + '-' + std::to_string( i ) );
   std::vector< std::string > const ports( arguments.begin() + 2, arguments.end() );
   makeLinks( arguments[ 1 ], ports, about.taps );
   for ( std::string const& port : ports ) {
      ports_.push_back( { if_nametoindex( port.c_str() ) } );
      names_.emplace_back( port );
      names_.emplace_back( port + 'p' );
   }
   hearing_.emplace();
   hearing_->receiveBufferIs( 64 << 20 );
   hearing_->subscribe( RTNLGRP_LINK );
   acting_.emplace();
   probe_.emplace();
   process_.emplace( arguments, Process::Rights::all, startPeer.c_str() );
}

void
Place::makeLinks( std::string const& uplink, std::vector< std::string > const& ports, bool tap ) {
   std::string commands;
   auto const pair = [ & ]( std::string const& name ) {
      commands += "link add " + name + " up type veth peer name " + name + "p\n";
      commands += "link set " + name + "p up\n";
   };
   if ( tap ) {
      tap_.emplace( uplink );
      commands += "link set " + uplink + " up\n";
   } else {
      pair( uplink );
   }
   for ( std::string const& port : ports )
      pair( port );
   ip( commands );
   farEnd_ = if_nametoindex( ( uplink + 'p' ).c_str() );
}

void
Place::uplinkIs( bool up ) {
   if ( tap_ )
      return tap_->carrierIs( up );
   set( farEnd_, up );
}

void
Place::set( std::uint32_t index, bool up ) {
   alignas( nlmsghdr ) std::array< std::byte, 64 > room{};
   LinkMessage const order = beginLinkMessage( room.data(), RTM_NEWLINK, NLM_F_REQUEST, 0 );
   order.info->ifi_index = static_cast< int >( index );
   order.info->ifi_flags = up ? IFF_UP : 0;
   order.info->ifi_change = IFF_UP;
   acting_->send( std::span( room ).first( order.header->nlmsg_len ) );
}

void
Place::fail() {
   begin_ = Clock::now();
   uplinkIs( false );
}

void
Place::recover() {
   uplinkIs( true );
}

void
Place::open() {
   for ( Port const& port : ports_ )
      set( port.index, true );
}

void
Place::flushChanges() {
   for ( InterfaceName const& name : names_ )
      probe_->carrier( name );
}

void
Place::tookMessages() {
   while ( auto const datagram = hearing_->receive( 0 ) ) {
      if ( datagram->lossy )
         throw std::runtime_error( "messages were lost" );
      auto const* message = reinterpret_cast< nlmsghdr const* >( datagram->bytes.data() );
      int left = static_cast< int >( datagram->bytes.size() );
      for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) )
         if ( auto const link = linkOf( *message ) ) {
            if ( link->name.view() == another )
               hasAnotherCarrier_ = link->carrier;
            for ( Port& port : ports_ )
               if ( port.index == link->index )
                  port = { link->index, link->adminUp, link->carrier };
         }
   }
}

bool
Place::hasAnotherFailed() {
   tookMessages();
   return !hasAnotherCarrier_;
}

bool
Place::haveBecome( bool up ) {
   tookMessages();
   return std::all_of( ports_.begin(), ports_.end(), [ up ]( Port const& port ) {
      return up ? port.isUp && port.hasCarrier : !port.isUp;
   } );
}

} // namespace Bench
