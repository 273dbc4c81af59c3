#include "agent/kernel/NetlinkLinkSource.h"

#include "agent/kernel/LinkMessage.h"
#include "platform/zet/Clock.h"

#include <linux/rtnetlink.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

// In seconds: longer than a dump of many thousand links takes.
constexpr double startPatience = 10;
// So many errors in a row do not pass by themselves.
constexpr int maxReceiveErrors = 100;
// As many as the receive buffer holds, so that ufdd acts once on all of them, and not on outdated
// states in between. Limited, so that acts do not wait for the end of a storm.
constexpr int datagramsPerTurn = 4096;

} // namespace

NetlinkLinkSource::NetlinkLinkSource( EventLoop& loop, int receiveBuffer )
    : loop_( loop ), receiveBuffer_( receiveBuffer ) {}

void
NetlinkLinkSource::start( LinkListener& listener ) {
   feed_.emplace( listener, socket_.portNumber() );
   socket_.receiveBufferIs( receiveBuffer_ );
   // Subscribes before it requests the dump, so that no change is missed between the two.
   socket_.subscribe( RTNLGRP_LINK );
   requestDump();
   for ( double const end = Zet::now() + startPatience; !recover(); ) {
      if ( Zet::now() > end )
         throw std::system_error( ETIMEDOUT, std::generic_category(),
                                  "can't list the interfaces: the kernel does not answer, or they "
                                  "change faster than ufdd can read them" );
      receive( static_cast< int >( LinkFeed::dumpPatience * 1000 ) );
   }
   loop_.onReadable< &NetlinkLinkSource::handleReadable >( socket_.fd(), *this );
}

void
NetlinkLinkSource::handleReadable() {
   int received = 0;
   while ( received < datagramsPerTurn && receive( 0 ) )
      ++received;
   // Requests the dump only when the socket is empty: until then the kernel may drop more messages
   // without reporting it.
   if ( received < datagramsPerTurn && feed_->dumpWanted() )
      requestDump();
}

bool
NetlinkLinkSource::recover() {
   // A dump that seems overdue may be waiting in the socket.
   if ( !feed_->complete() )
      handleReadable();
   if ( feed_->takeOverdueDump() )
      requestDump();
   return feed_->complete();
}

std::string
NetlinkLinkSource::takeTrouble() {
   std::string trouble = feed_->takeTrouble();
   return trouble.empty() ? std::exchange( queryTrouble_, {} ) : trouble;
}

bool
NetlinkLinkSource::receive( int timeoutMs ) {
   std::optional< NetlinkSocket::Datagram > datagram;
   try {
      datagram = socket_.receive( timeoutMs );
      receiveErrors_ = 0;
   } catch ( std::system_error const& error ) {
      if ( ++receiveErrors_ == maxReceiveErrors )
         throw;
      feed_->handleTrouble( error.what() );
      feed_->handleLoss();
   }
   if ( !datagram )
      return false;
   if ( datagram->lossy ) {
      feed_->handleTrouble( "messages about links were lost, too many came at once" );
      feed_->handleLoss();
   } else
      feed_->handleDatagram( datagram->sender, datagram->bytes );
   return true;
}

bool
NetlinkLinkSource::query( std::span< std::uint32_t const > indexes ) {
   queries_.resize( indexes.size() * queryRoom );
   std::size_t size = 0;
   for ( std::uint32_t const index : indexes )
      size += putLinkQuery( queries_.data() + size, index, 0, ++sequence_ );
   try {
      if ( size > 0 )
         socket_.send( std::span( queries_ ).first( size ) );
   } catch ( std::system_error const& error ) {
      // Reported once, since the error may come each time.
      if ( int const number = error.code().value(); std::exchange( queryError_, number ) != number )
         queryTrouble_ = "can't query the state of uplinks: " + error.code().message() +
                         "; ufdd may notice a loss a second late";
   }
   handleReadable();
   return feed_->hasMessages();
}

void
NetlinkLinkSource::requestDump() {
   alignas( nlmsghdr ) std::array< std::byte, queryRoom > room{};
   std::size_t const size = putLinkQuery( room.data(), 0, NLM_F_DUMP, ++sequence_ );
   // If sending fails, the dump becomes overdue and is requested again.
   feed_->handleDumpAsked( sequence_ );
   try {
      socket_.send( std::span( room ).first( size ) );
   } catch ( std::system_error const& error ) {
      feed_->handleTrouble( error.what() );
   }
}

} // namespace Ufdd
