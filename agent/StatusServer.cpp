#include "agent/StatusServer.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <system_error>
#include <utility>

namespace Ufdd {

StatusServer::StatusServer( std::string const& path,
                            Zet::Ptr< UplinkFailureDetection::Status > status, Log& log )
    : status_( std::move( status ) ), log_( log ), socket_( path ),
      poll_( epoll_create1( EPOLL_CLOEXEC ) ) {
   watch( EPOLL_CTL_ADD, socket_.fd(), EPOLLIN, nullptr );
}

void
StatusServer::watch( int operation, int fd, std::uint32_t events, StatusClient* client ) const {
   epoll_event event{ .events = events, .data = { .ptr = client } };
   if ( epoll_ctl( poll_.fd(), operation, fd, &event ) < 0 )
      throw std::system_error( errno, std::generic_category(),
                               "can't watch the sockets of " + socket_.path() );
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
   Descriptor stream( accept4( socket_.fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK ) );
   if ( !stream && ( errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM ) )
      return pauseAccepting( errno );
   if ( !stream )
      return;
   if ( clients_.size() == clientLimit )
      return refuse();
   // Nobody who only asks for the status may end the daemon.
   try {
      auto client = std::make_unique< StatusClient >( std::move( stream ), status_ );
      watch( EPOLL_CTL_ADD, client->fd(), EPOLLIN, client.get() );
      clients_.push_back( std::move( client ) );
   } catch ( std::exception const& failure ) {
      log_.line( std::string( "status: a client could not be served: " ) + failure.what() );
   }
}

void
StatusServer::refuse() {
   if ( !std::exchange( refusalIsTold_, true ) )
      log_.line( "status: clients are refused: " + std::to_string( clientLimit ) +
                 " are connected to " + socket_.path() + ", and more are not served" );
}

// The one that waits would wake us all the time.
void
StatusServer::pauseAccepting( int error ) {
   log_.line( "status: can't take a client on " + socket_.path() + ": " +
              std::generic_category().message( error ) );
   watch( EPOLL_CTL_MOD, socket_.fd(), 0, nullptr );
   acceptAgainAt_ = Zet::now() + acceptPause;
}

void
StatusServer::settle() {
   if ( acceptAgainAt_ && Zet::now() >= *acceptAgainAt_ ) {
      watch( EPOLL_CTL_MOD, socket_.fd(), EPOLLIN, nullptr );
      acceptAgainAt_.reset();
   }
   for ( auto const& client : clients_ ) {
      bool const hadUnsent = client->unsentSize() != 0;
      client->send();
      bool const hasUnsent = client->unsentSize() != 0;
      if ( !client->complaint().empty() )
         log_.line( "status: " + client->complaint() );
      else if ( hadUnsent || hasUnsent )
         watch( EPOLL_CTL_MOD, client->fd(), hasUnsent ? EPOLLIN | EPOLLOUT : EPOLLIN,
                client.get() );
   }
   if ( std::erase_if( clients_, []( auto const& client ) { return client->hasEnded(); } ) != 0 )
      refusalIsTold_ = false;
}

std::optional< double >
StatusServer::dueIn() const {
   std::optional< double > due = acceptAgainAt_;
   for ( auto const& client : clients_ )
      if ( auto const deadline = client->deadline(); deadline && ( !due || *deadline < *due ) )
         due = deadline;
   return due ? std::optional( std::max( *due - Zet::now(), 0.0 ) ) : std::nullopt;
}

} // namespace Ufdd
