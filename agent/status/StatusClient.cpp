#include "agent/status/StatusClient.h"

#include "agent/base/UnixSocket.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace Ufdd {

using Zet::NboAttrLog::Demuxer;

StatusClient::StatusClient( Descriptor socket, StatusRoots const& roots, std::size_t limit )
    : socket_( std::move( socket ) ),
      demuxer_( Demuxer::DemuxerIs( Demuxer::Side::server, limit ) ), roots_( roots ),
      connectedAt_( Zet::now() ) {}

std::optional< double >
StatusClient::deadline() const {
   std::optional< double > const hello =
       isGreeted() ? std::nullopt : std::optional( connectedAt_ + helloPatience );
   if ( !stuckSince_ )
      return hello;
   return std::min( *stuckSince_ + patience, hello.value_or( *stuckSince_ + patience ) );
}

void
StatusClient::receive() {
   std::array< unsigned char, 2048 > bytes;
   ssize_t const size = recv( socket_.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT );
   if ( size < 0 && ( errno == EAGAIN || errno == EINTR ) )
      return;
   ended_ = ended_ || size <= 0;
   Zet::NboAttrLog::In& in = *demuxer_->in();
   // One byte at a time, so that bytes behind the hello are never decoded.
   for ( ssize_t i = 0; i < size && !ended_; ++i )
      if ( isGreeted() )
         drop( "it sent more than its hello, but the status can only be read" );
      else if ( !in.receive( { &bytes[ static_cast< std::size_t >( i ) ], 1 } ) )
         drop( in.error().c_str() );
      else if ( isGreeted() )
         greet();
}

void
StatusClient::greet() {
   Zet::String8 const type = demuxer_->in()->helloType();
   auto const roots = roots_.askedFor( type.view() );
   if ( roots.empty() )
      return drop( "the type of the hello is nothing that is served here; use ufdd and ufdctl of "
                   "the same version" );
   demuxer_->out()->helloIs( Zet::TypeId( type.view() ) );
   for ( auto const& root : roots ) {
      adapters_.push_back( root->zetNboAttrLogSaIs( {}, 0, demuxer_->out(), nullptr ) );
      adapters_.back()->doSerializeOrphan();
   }
}

void
StatusClient::send() {
   fill();
   // Asks the socket of a client that is about to be dropped once more: the kernel calls a socket
   // writable only when most of it is free.
   isWritable_ = isWritable_ || ( stuckSince_ && Zet::now() >= *stuckSince_ + patience );
   // Two pieces at most, since the ring buffer has two. The rest waits until other clients had
   // their turn.
   for ( int piece = 0; piece < 2 && isWritable_ && !ended_ && unsentSize() != 0; ++piece )
      if ( !sendPiece() )
         break;
   fill();
   if ( unsentSize() == 0 )
      stuckSince_.reset();
   checkPatience();
}

bool
StatusClient::takeWatchChange() {
   bool const hasUnsent = unsentSize() != 0;
   return std::exchange( isWatched_, hasUnsent ) != hasUnsent;
}

void
StatusClient::checkPatience() {
   double const now = Zet::now();
   auto const isMute = [ & ] { return !isGreeted() && now >= connectedAt_ + helloPatience; };
   // Clients are read only when nothing more urgent is due, so the hello may wait in the socket.
   if ( isMute() )
      receive();
   if ( ended_ )
      return;
   if ( isMute() )
      drop( "it sent no hello within " + std::to_string( static_cast< int >( helloPatience ) ) +
            " s" );
   else if ( stuckSince_ && now >= *stuckSince_ + patience )
      drop( "it reads too slowly: its socket took nothing for " +
            std::to_string( static_cast< int >( patience ) ) + " s, and " +
            std::to_string( unsentSize() ) + " bytes wait for it" );
}

void
StatusClient::fill() {
   demuxer_->handleRoom();
   if ( isInStep_ || adapters_.empty() || demuxer_->hasFlow() )
      return;
   // The first one that finds no room is tried again, and those behind it.
   isInStep_ = std::all_of( adapters_.begin(), adapters_.end(), []( auto const& adapter ) {
      return adapter->syncModeSend( Zet::StreamAdapter::SyncMode::inStep );
   } );
}

bool
StatusClient::sendPiece() {
   auto const bytes = demuxer_->out()->unsent();
   ssize_t const size =
       ::send( socket_.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL );
   if ( size >= 0 ) {
      demuxer_->out()->sentIs( static_cast< std::size_t >( size ) );
      stuckSince_.reset();
      return true;
   }
   isWritable_ = errno == EINTR;
   if ( errno == EAGAIN || errno == EINTR )
      stuckSince_ = stuckSince_.value_or( Zet::now() );
   else
      ended_ = true;
   return false;
}

void
StatusClient::drop( std::string const& reason ) {
   ended_ = true;
   complaint_ =
       "client of process " + std::to_string( peerOf( socket_ ).pid ) + " dropped: " + reason;
}

} // namespace Ufdd
