#include "agent/control/ControlServer.h"

#include "agent/base/UnixSocket.h"
#include "agent/control/ControlText.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <exception>
#include <grp.h>
#include <stdexcept>
#include <utility>

namespace Ufdd {

namespace {

std::optional< gid_t >
idOf( std::optional< AdminGroup > const& group ) {
   return group ? std::optional( group->id ) : std::nullopt;
}

ControlReply
refusal( ControlReply::Kind kind, std::string text ) {
   return { .kind = kind, .text = std::move( text ), .toShut = {}, .toOpen = {} };
}

} // namespace

AdminGroup
adminGroup( std::string const& name ) {
   group const* const found = getgrnam( name.c_str() );
   if ( !found )
      throw std::runtime_error( "there is no group \"" + name + "\"; make it (groupadd --system " +
                                name + "), or name another one" );
   return { name, found->gr_gid };
}

ControlServer::ControlServer( Settings settings, Steering& steering, Log& log )
    : admins_( std::move( settings.admins ) ), reporters_( std::move( settings.reporters ) ),
      steering_( steering ),
      socket_( { .path = std::move( settings.path ),
                 .words = { .name = "control", .option = "--control-socket" },
                 .loss = "ufdctl can't steer ufdd",
                 .clientLimit = clientLimit,
                 .group = idOf( admins_ ? admins_ : reporters_ ),
                 .isExclusive = false },
               log ) {}

void
ControlServer::handleReady() {
   socket_.forEachReady< ControlClient >(
       []( ControlClient& client, std::uint32_t events ) {
          client.receive();
          // Nobody is there any more to read the rest of the reply.
          if ( client.hasUnsent() && ( events & ( EPOLLHUP | EPOLLERR ) ) != 0 )
             client.end();
       },
       [ this ] { accept(); } );
}

void
ControlServer::accept() {
   Descriptor stream = socket_.accept();
   if ( !stream )
      return;
   // An error with one client must not end the daemon.
   try {
      auto client = std::make_unique< ControlClient >( std::move( stream ) );
      if ( std::string objection = objectionTo( *client, true ); !objection.empty() ) {
         socket_.addTrouble( client->peerText() + " was refused: " + objection );
         return client->answer(
             textOf( refusal( ControlReply::Kind::notAdmin, std::move( objection ) ) ) );
      }
      if ( !socket_.hasPlace( client->peer(), clients_.size() ) )
         return client->answer( textOf( refusal(
             ControlReply::Kind::failed, "ufdd serves as many requests as it can; try again" ) ) );
      socket_.watch( client->fd(), EPOLLIN, client.get() );
      clients_.push_back( std::move( client ) );
   } catch ( std::exception const& failure ) {
      socket_.addTrouble( std::string( "a client was refused: " ) + failure.what() );
   }
}

std::string
ControlServer::objectionTo( ControlClient const& client, bool mayReport ) const {
   auto const isIn = [ & ]( std::optional< AdminGroup > const& group ) {
      return group && client.isInGroup( group->id );
   };
   if ( client.peer().uid == 0 || isIn( admins_ ) || ( mayReport && isIn( reporters_ ) ) )
      return "";
   if ( isIn( reporters_ ) )
      return "the group " + reporters_->name + " may only report what checks found";
   return admins_ ? "only root and the group " + admins_->name + " may steer ufdd"
                  : "only root may steer ufdd; to let a group do so, start ufdd with "
                    "--admin-group";
}

bool
ControlServer::handleRequest() {
   auto const at = std::ranges::find_if(
       clients_, []( auto const& client ) { return client->request().has_value(); } );
   if ( at == clients_.end() )
      return false;
   ControlClient& client = **at;
   try {
      ControlRequest request = requestOf( *client.request() );
      request.uid = client.peer().uid;
      request.pid = client.peer().pid;
      std::string objection = objectionTo( client, request.verb == ControlRequest::Verb::report );
      client.answer( textOf(
          objection.empty() ? steering_.handle( request )
                            : refusal( ControlReply::Kind::notAdmin, std::move( objection ) ) ) );
   } catch ( ControlTextError const& error ) {
      socket_.addTrouble( "the request of " + client.peerText() + " was refused: " + error.what() );
      client.answer(
          textOf( refusal( ControlReply::Kind::refused,
                           std::string( "the request is refused: " ) + error.what() ) ) );
   }
   return true;
}

void
ControlServer::endTurn() {
   for ( auto const& client : clients_ ) {
      client->send();
      checkPatience( *client );
      // Its end of input must not wake the loop again and again.
      if ( client->hasUnsent() )
         socket_.watchAgain( client->fd(), EPOLLOUT, client.get() );
   }
   if ( std::erase_if( clients_, []( auto const& client ) { return client->hasEnded(); } ) != 0 )
      socket_.handleGone();
   socket_.endTurn();
}

void
ControlServer::checkPatience( ControlClient& client ) {
   if ( client.hasEnded() || Zet::now() < client.deadline() )
      return;
   if ( client.hasUnsent() ) {
      socket_.addTrouble( client.peerText() + " was dropped: it did not read its reply" );
      return client.end();
   }
   // Clients are read only when nothing more urgent is due, so the request may wait in the socket.
   client.receive();
   if ( client.hasEnded() || client.request() )
      return;
   std::string const fault = "it sent no whole request within " +
                             std::to_string( static_cast< int >( ControlClient::patience ) ) + " s";
   socket_.addTrouble( client.peerText() + " was dropped: " + fault );
   client.answer( textOf( refusal( ControlReply::Kind::refused, fault ) ) );
   client.end();
}

std::optional< double >
ControlServer::nextTime() const {
   std::optional< double > next = socket_.nextTime();
   for ( auto const& client : clients_ )
      if ( !next || client->deadline() < *next )
         next = client->deadline();
   return next;
}

} // namespace Ufdd
