#include "agent/status/StatusServer.h"

#include "agent/base/UnixSocket.h"
#include "platform/zet/Clock.h"

#include <array>
#include <cerrno>
#include <sys/epoll.h>
#include <system_error>
#include <utility>

namespace Ufdd {

StatusServer::StatusServer( std::string path, StatusRoots roots, Log& log, std::size_t unsentLimit )
    : path_( std::move( path ) ), roots_( std::move( roots ) ), log_( log ),
      unsentLimit_( unsentLimit ), poll_( epoll_create1( EPOLL_CLOEXEC ) ), troubles_( log ) {
   if ( !poll_ )
      throw std::system_error( errno, std::generic_category(), "can't watch the clients" );
}

void
StatusServer::listen() {
   bool const isFirst = !std::exchange( listenAgainAt_, std::nullopt );
   try {
      int const operation = socket_ ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
      if ( !socket_ )
         socket_.emplace( path_ );
      watch( operation, socket_->fd(), EPOLLIN, nullptr );
      if ( !std::exchange( listenError_, {} ).empty() )
         log_.line( "status: served on " + path_ + " now" );
   } catch ( std::system_error const& error ) {
      socket_.reset();
      if ( isFirst && error.code() == std::errc::address_in_use )
         throw;
      listenAgainAt_ = Zet::now() + listenPause;
      if ( std::exchange( listenError_, error.what() ) != error.what() )
         log_.event(
             { .id = LogEvent::trouble },
             "status: not served: " + listenError_ +
                 "; trying again every few seconds. Until then ufdctl does not work; groups "
                 "are watched all the same" );
   }
}

void
StatusServer::watch( int operation, int fd, std::uint32_t events, StatusClient* client ) const {
   epoll_event event{ .events = events, .data = { .ptr = client } };
   if ( epoll_ctl( poll_.fd(), operation, fd, &event ) < 0 )
      throw std::system_error( errno, std::generic_category(),
                               "can't watch the sockets of " + path_ );
}

void
StatusServer::handleReady() {
   std::array< epoll_event, clientLimit + 1 > events{};
   int const count =
       epoll_wait( poll_.fd(), events.data(), static_cast< int >( events.size() ), 0 );
   for ( int i = 0; i < count; ++i ) {
      epoll_event const& event = events[ static_cast< std::size_t >( i ) ];
      if ( auto* const client = static_cast< StatusClient* >( event.data.ptr ) ) {
         if ( ( event.events & ~std::uint32_t{ EPOLLOUT } ) != 0 )
            client->receive();
      } else
         accept();
   }
}

void
StatusServer::accept() {
   Descriptor stream( accept4( socket_->fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK ) );
   if ( !stream && ( errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM ) )
      return pauseAccepting( errno );
   if ( !stream )
      return;
   bool const isRoot = peerOf( stream ).uid == 0;
   if ( clients_.size() >= ( isRoot ? clientLimit : clientLimit - 1 ) )
      return refuse( isRoot );
   // An error with one client must not end the daemon.
   try {
      if ( !copy_ )
         copy_.emplace( roots_ );
      auto client =
          std::make_unique< StatusClient >( std::move( stream ), copy_->roots(), unsentLimit_ );
      watch( EPOLL_CTL_ADD, client->fd(), EPOLLIN, client.get() );
      clients_.push_back( std::move( client ) );
   } catch ( std::exception const& failure ) {
      troubles_.add( std::string( "status: a client was refused: " ) + failure.what() );
   }
}

void
StatusServer::refuse( bool isRoot ) {
   if ( !std::exchange( refusalIsTold_, true ) )
      troubles_.add( "status: clients are refused: " + std::to_string( clients_.size() ) +
                     " are connected to " + path_ +
                     ( isRoot ? ", and no more are served; end one of them"
                              : ", and the last place is reserved for root; end one of them" ) );
}

// Ignores new clients for a while: each one that waits would wake the loop again and again.
void
StatusServer::pauseAccepting( int error ) {
   troubles_.add( "status: can't take a client on " + path_ + ": " +
                  std::generic_category().message( error ) );
   watch( EPOLL_CTL_MOD, socket_->fd(), 0, nullptr );
   listenAgainAt_ = Zet::now() + acceptPause;
}

void
StatusServer::endTurn() {
   lookAfterSocket();
   if ( copy_ )
      copy_->follow();
   for ( auto const& client : clients_ ) {
      bool const hadUnsent = client->unsentSize() != 0;
      client->send();
      bool const hasUnsent = client->unsentSize() != 0;
      if ( !client->complaint().empty() )
         troubles_.add( "status: " + client->complaint() );
      else if ( hadUnsent || hasUnsent )
         watch( EPOLL_CTL_MOD, client->fd(), hasUnsent ? EPOLLIN | EPOLLOUT : EPOLLIN,
                client.get() );
   }
   if ( std::erase_if( clients_, []( auto const& client ) { return client->hasEnded(); } ) != 0 )
      refusalIsTold_ = false;
   if ( clients_.empty() )
      copy_.reset();
   troubles_.report();
}

// Makes the socket again if its file was removed: clients could not find it. Checks in turns that
// happen anyway.
void
StatusServer::lookAfterSocket() {
   double const now = Zet::now();
   if ( socket_ && now >= lookAt_ ) {
      lookAt_ = now + listenPause;
      if ( !socket_->isThere() ) {
         log_.line( "status: " + path_ + " was removed; it is made anew" );
         socket_.reset();
         listenAgainAt_ = now;
      }
   }
   if ( listenAgainAt_ && now >= *listenAgainAt_ )
      listen();
}

std::optional< double >
StatusServer::nextTime() const {
   std::optional< double > next = listenAgainAt_;
   auto const within = [ & ]( std::optional< double > const& time ) {
      if ( time && ( !next || *time < *next ) )
         next = time;
   };
   within( troubles_.nextTime() );
   for ( auto const& client : clients_ )
      within( client->deadline() );
   return next;
}

} // namespace Ufdd
