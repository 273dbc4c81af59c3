#include "agent/control/ControlClient.h"

#include "agent/base/UnixSocket.h"
#include "agent/control/ControlText.h"
#include "platform/zet/Clock.h"

#include <array>
#include <cerrno>
#include <utility>

namespace Ufdd {

ControlClient::ControlClient( Descriptor socket )
    : socket_( std::move( socket ) ), peer_( peerOf( socket_ ) ),
      deadline_( Zet::now() + patience ) {}

bool
ControlClient::isInGroup( gid_t group ) const {
   return isPeerInGroup( socket_, group );
}

std::string
ControlClient::peerText() const {
   return "process " + std::to_string( peer_.pid ) + " of user " + std::to_string( peer_.uid );
}

void
ControlClient::receive() {
   while ( !isComplete_ ) {
      std::array< char, requestLimit + 1 > bytes;
      ssize_t const size =
          recv( socket_.fd(), bytes.data(), bytes.size() - text_.size(), MSG_DONTWAIT );
      if ( size < 0 && errno == EINTR )
         continue;
      if ( size < 0 && errno == EAGAIN )
         return;
      if ( size > 0 )
         text_.append( bytes.data(), static_cast< std::size_t >( size ) );
      // A client that has gone without a word waits for no answer.
      hasEnded_ = text_.empty();
      isComplete_ = size <= 0 || text_.size() > requestLimit || isWhole( text_ );
   }
}

std::optional< std::string_view >
ControlClient::request() const {
   if ( !isComplete_ || isAnswered_ || hasEnded_ )
      return std::nullopt;
   return text_;
}

void
ControlClient::answer( std::string text ) {
   text_ = std::move( text );
   isComplete_ = isAnswered_ = true;
   deadline_ = Zet::now() + patience;
   send();
}

void
ControlClient::send() {
   while ( isAnswered_ && !hasEnded_ ) {
      ssize_t const size =
          ::send( socket_.fd(), text_.data(), text_.size(), MSG_DONTWAIT | MSG_NOSIGNAL );
      if ( size < 0 && errno == EINTR )
         continue;
      if ( size < 0 && errno == EAGAIN )
         return;
      text_.erase( 0, size < 0 ? text_.size() : static_cast< std::size_t >( size ) );
      hasEnded_ = text_.empty();
   }
}

} // namespace Ufdd
