#include "agent/status/StatusServer.h"

#include "agent/base/UnixSocket.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace Ufdd {

StatusServer::StatusServer( std::string path, StatusRoots roots, Log& log, std::size_t unsentLimit )
    : roots_( std::move( roots ) ), unsentLimit_( unsentLimit ),
      socket_( { .path = std::move( path ),
                 .words = { .name = "status", .option = "--socket" },
                 .loss = "ufdctl does not work",
                 .clientLimit = clientLimit },
               log ) {}

void
StatusServer::handleReady() {
   socket_.forEachReady< StatusClient >(
       []( StatusClient& client, std::uint32_t events ) {
          if ( ( events & EPOLLOUT ) != 0 )
             client.handleWritable();
          if ( ( events & ~std::uint32_t{ EPOLLOUT } ) != 0 )
             client.receive();
       },
       [ this ] { accept(); } );
}

void
StatusServer::accept() {
   Descriptor stream = socket_.accept();
   if ( !stream || !socket_.hasPlace( peerOf( stream ), clients_.size() ) )
      return;
   // An error with one client must not end the daemon.
   try {
      if ( !copy_ )
         copy_.emplace( roots_ );
      auto client =
          std::make_unique< StatusClient >( std::move( stream ), copy_->roots(), unsentLimit_ );
      socket_.watch( client->fd(), EPOLLIN, client.get() );
      clients_.push_back( std::move( client ) );
   } catch ( std::exception const& failure ) {
      socket_.addTrouble( std::string( "a client was refused: " ) + failure.what() );
   }
}

void
StatusServer::endTurn() {
   if ( copy_ )
      copy_->follow();
   for ( auto const& client : clients_ ) {
      client->send();
      if ( !client->complaint().empty() )
         socket_.addTrouble( client->complaint() );
      else if ( client->takeWatchChange() )
         socket_.watchAgain( client->fd(), client->unsentSize() != 0 ? EPOLLIN | EPOLLOUT : EPOLLIN,
                             client.get() );
   }
   if ( std::erase_if( clients_, []( auto const& client ) { return client->hasEnded(); } ) != 0 )
      socket_.handleGone();
   if ( clients_.empty() )
      copy_.reset();
   socket_.endTurn();
}

unsigned int
StatusServer::clientCount() const {
   return static_cast< unsigned int >( std::ranges::count_if(
       clients_, []( auto const& client ) { return !client->hasEnded(); } ) );
}

std::optional< double >
StatusServer::nextTime() const {
   std::optional< double > next = socket_.nextTime();
   for ( auto const& client : clients_ )
      if ( auto const time = client->deadline(); time && ( !next || *time < *next ) )
         next = time;
   return next;
}

} // namespace Ufdd
