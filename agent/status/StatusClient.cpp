#include "agent/status/StatusClient.h"

#include "adapters/attrlog/StatusLog.h"
#include "platform/zet/Clock.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <utility>

namespace Ufdd {

using UplinkFailureDetection::Status;
using Zet::NboAttrLog::Demuxer;

StatusClient::StatusClient( Descriptor socket, Zet::Ptr< Status > const& status, std::size_t limit )
    : socket_( std::move( socket ) ),
      demuxer_( Demuxer::DemuxerIs( Demuxer::Side::server, limit ) ) {
   demuxer_->out()->helloIs( Zet::TypeId( Status::_fwkType()->fullName().view() ) );
   adapter_ = status->zetNboAttrLogSaIs( {}, 0, demuxer_->out(), nullptr );
   adapter_->doSerializeOrphan();
}

std::optional< double >
StatusClient::deadline() const {
   return stuckSince_ ? std::optional( *stuckSince_ + patience ) : std::nullopt;
}

void
StatusClient::receive() {
   std::array< unsigned char, 2048 > bytes;
   ssize_t const size = recv( socket_.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT );
   if ( size < 0 && ( errno == EAGAIN || errno == EINTR ) )
      return;
   ended_ = ended_ || size <= 0;
   Zet::NboAttrLog::In& in = *demuxer_->in();
   // A byte at a time, so that none behind the hello is ever looked at.
   for ( ssize_t i = 0; i < size && !ended_; ++i )
      if ( in.offset() != 0 )
         drop( "it sent more than its hello, and the status can only be read" );
      else if ( !in.receive( { &bytes[ static_cast< std::size_t >( i ) ], 1 } ) )
         drop( in.error().c_str() );
}

void
StatusClient::send() {
   fill();
   // In two pieces, as the buffer has them. For more it waits until the others had their turn.
   for ( int piece = 0; piece < 2 && !ended_ && unsentSize() != 0; ++piece )
      if ( !sendPiece() )
         break;
   fill();
   if ( unsentSize() == 0 )
      stuckSince_.reset();
   if ( stuckSince_ && Zet::now() >= *deadline() )
      drop( "it has read nothing for " + std::to_string( static_cast< int >( patience ) ) +
            " s, and " + std::to_string( unsentSize() ) + " bytes wait for it" );
}

void
StatusClient::fill() {
   demuxer_->handleRoom();
   if ( !isInStep_ && !demuxer_->hasFlow() )
      isInStep_ = adapter_->syncModeSend( Zet::StreamAdapter::SyncMode::inStep );
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
   if ( errno == EAGAIN || errno == EINTR )
      stuckSince_ = stuckSince_.value_or( Zet::now() );
   else
      ended_ = true;
   return false;
}

void
StatusClient::drop( std::string const& reason ) {
   ended_ = true;
   ucred peer{};
   socklen_t size = sizeof peer;
   getsockopt( socket_.fd(), SOL_SOCKET, SO_PEERCRED, &peer, &size );
   complaint_ = "client of process " + std::to_string( peer.pid ) + " dropped: " + reason;
}

} // namespace Ufdd
