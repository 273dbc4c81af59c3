#include "agent/base/ServerSocket.h"

#include "platform/zet/Clock.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace Ufdd {

ServerSocket::ServerSocket( Settings settings, Log& log )
    : settings_( std::move( settings ) ), log_( log ), poll_( epoll_create1( EPOLL_CLOEXEC ) ),
      troubles_( log ) {
   if ( !poll_ )
      throw std::system_error( errno, std::generic_category(), "can't watch the clients" );
}

void
ServerSocket::listen() {
   bool const isFirst = !std::exchange( listenAgainAt_, std::nullopt );
   try {
      int const operation = socket_ ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
      if ( !socket_ )
         socket_.emplace( settings_.path, settings_.words, settings_.group );
      control( operation, socket_->fd(), EPOLLIN, nullptr );
      if ( !std::exchange( listenError_, {} ).empty() )
         log_.line( prefix() + "served on " + settings_.path + " now" );
   } catch ( std::system_error const& error ) {
      socket_.reset();
      if ( isFirst && settings_.isExclusive && error.code() == std::errc::address_in_use )
         throw;
      handleNotServed( error.what() );
   }
}

void
ServerSocket::handleNotServed( std::string const& error ) {
   listenAgainAt_ = Zet::now() + listenPause;
   if ( std::exchange( listenError_, error ) != error )
      log_.event( { .id = LogEvent::trouble }, prefix() + "not served: " + listenError_ +
                                                   "; trying again every few seconds. Until then " +
                                                   settings_.loss +
                                                   "; groups are watched all the same" );
}

void
ServerSocket::control( int operation, int fd, std::uint32_t events, void* client ) const {
   epoll_event event{ .events = events, .data = { .ptr = client } };
   if ( epoll_ctl( poll_.fd(), operation, fd, &event ) < 0 )
      throw std::system_error( errno, std::generic_category(),
                               "can't watch the sockets of " + settings_.path );
}

void
ServerSocket::watch( int fd, std::uint32_t events, void* client ) const {
   control( EPOLL_CTL_ADD, fd, events, client );
}

void
ServerSocket::watchAgain( int fd, std::uint32_t events, void* client ) const {
   control( EPOLL_CTL_MOD, fd, events, client );
}

Descriptor
ServerSocket::accept() {
   Descriptor stream( accept4( socket_->fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK ) );
   if ( !stream && ( errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM ) )
      pauseAccepting( errno );
   return stream;
}

// Ignores new clients for a while: each one that waits would wake the loop again and again.
void
ServerSocket::pauseAccepting( int error ) {
   addTrouble( "can't take a client on " + settings_.path + ": " +
               std::generic_category().message( error ) );
   control( EPOLL_CTL_MOD, socket_->fd(), 0, nullptr );
   listenAgainAt_ = Zet::now() + acceptPause;
}

bool
ServerSocket::hasPlace( ucred const& peer, std::size_t others ) {
   bool const isRoot = peer.uid == 0;
   if ( others < ( isRoot ? settings_.clientLimit : settings_.clientLimit - 1 ) )
      return true;
   if ( !std::exchange( refusalIsTold_, true ) )
      addTrouble( "clients are refused: " + std::to_string( others ) + " are connected to " +
                  settings_.path +
                  ( isRoot ? ", and no more are served; end one of them"
                           : ", and the last place is reserved for root; end one of them" ) );
   return false;
}

void
ServerSocket::endTurn() {
   lookAfterSocket();
   troubles_.report();
}

// Makes the socket again if its file was removed: clients could not find it. Checks in turns that
// happen anyway.
void
ServerSocket::lookAfterSocket() {
   double const now = Zet::now();
   if ( socket_ && now >= lookAt_ ) {
      lookAt_ = now + listenPause;
      if ( !socket_->isThere() ) {
         log_.line( prefix() + settings_.path + " was removed; it is made anew" );
         socket_.reset();
         listenAgainAt_ = now;
      }
   }
   if ( listenAgainAt_ && now >= *listenAgainAt_ )
      listen();
}

std::optional< double >
ServerSocket::nextTime() const {
   std::optional< double > const report = troubles_.nextTime();
   if ( !listenAgainAt_ || ( report && *report < *listenAgainAt_ ) )
      return report;
   return listenAgainAt_;
}

} // namespace Ufdd
