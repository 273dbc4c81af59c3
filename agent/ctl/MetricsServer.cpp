#include "agent/ctl/MetricsServer.h"

#include "agent/base/PollUntil.h"
#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/MetricsText.h"
#include "platform/zet/Clock.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <utility>

namespace Ufdd {

namespace {

// In seconds, before connections are taken again for which there was no descriptor.
constexpr double acceptPause = 1;

} // namespace

std::vector< Descriptor >
MetricsServer::passedSockets() {
   std::vector< Descriptor > sockets;
   int const count = sd_listen_fds( 1 );
   sockets.reserve( static_cast< std::size_t >( std::max( count, 0 ) ) );
   for ( int i = 0; i < count; ++i )
      sockets.emplace_back( SD_LISTEN_FDS_START + i );
   if ( sockets.empty() )
      throw Failure( ExitStatus::failure, "--listen gets its socket from systemd, but there is "
                                          "none; start ufdd-metrics.socket" );
   for ( Descriptor const& socket : sockets )
      if ( sd_is_socket( socket.fd(), AF_UNSPEC, SOCK_STREAM, 1 ) <= 0 )
         throw Failure( ExitStatus::failure, "systemd passed something else than a listening "
                                             "stream socket; see ufdd-metrics.socket" );
   return sockets;
}

MetricsServer::MetricsServer( Follower& follower, std::vector< Descriptor > listeners )
    : follower_( follower ), listeners_( std::move( listeners ) ) {
   // A connection that has gone meanwhile must not make accept() wait.
   for ( Descriptor const& listener : listeners_ )
      fcntl( listener.fd(), F_SETFL, fcntl( listener.fd(), F_GETFL ) | O_NONBLOCK );
}

void
MetricsServer::turn( double until ) {
   std::vector< pollfd > watched{ { .fd = follower_.fd(), .events = POLLIN, .revents = 0 } };
   until = std::min( until, follower_.nextTime() );
   for ( HttpExchange const& exchange : exchanges_ ) {
      watched.push_back( { .fd = exchange.fd(), .events = exchange.events(), .revents = 0 } );
      until = std::min( until, exchange.deadline() );
   }
   std::size_t const firstListener = watched.size();
   bool const isPausing = Zet::now() < acceptAt_;
   if ( isPausing )
      until = std::min( until, acceptAt_ );
   else if ( exchanges_.size() < clientLimit )
      for ( Descriptor const& listener : listeners_ )
         watched.push_back( { .fd = listener.fd(), .events = POLLIN, .revents = 0 } );
   pollUntil( watched, until );
   isOutdated_ |= follower_.handle();
   auto at = watched.begin() + 1;
   for ( HttpExchange& exchange : exchanges_ )
      if ( ( at++ )->revents != 0 )
         exchange.handle( [ this ]() -> std::string const& { return page(); } );
   exchanges_.remove_if( []( HttpExchange const& exchange ) { return exchange.hasEnded(); } );
   for ( std::size_t i = firstListener; i < watched.size(); ++i )
      if ( watched[ i ].revents != 0 && exchanges_.size() < clientLimit )
         accept( watched[ i ].fd );
}

void
MetricsServer::accept( int listener ) {
   Descriptor socket( accept4( listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK ) );
   if ( socket )
      exchanges_.emplace_back( std::move( socket ) );
   else if ( errno != EAGAIN && errno != EINTR && errno != ECONNABORTED )
      acceptAt_ = Zet::now() + acceptPause;
}

std::string const&
MetricsServer::page() {
   if ( std::exchange( isOutdated_, false ) ) {
      StatusRoots const* const roots = follower_.roots();
      page_ = roots ? metricsText( *roots ) : metricsTextWithoutUfdd();
   }
   return page_;
}

} // namespace Ufdd
