#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/Log.h"
#include "agent/base/SocketFile.h"
#include "agent/base/Troubles.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/types.h>

namespace Ufdd {

// The Unix socket of a server, and the watch over it and its clients' sockets. Never waits.
// Whatever fails is logged and tried again, so that the server goes on.
class ServerSocket {
 public:
   struct Settings {
      std::string path;
      SocketWords words = {};
      std::string loss = {}; // While it isn't served: "ufdctl does not work".
      // The number of clients. The last place is reserved for root.
      std::size_t clientLimit = 0;
      std::optional< gid_t > group = {}; // The owner of the file; see SocketFile.
      bool isExclusive = true;           // listen() throws if another process serves the path.
   };
   // Throws: std::system_error, as ready() does.
   ServerSocket( Settings settings, Log& log );

   // Lets clients connect from now on. If that fails, or if the socket's file is removed later,
   // logs it; endTurn() tries again.
   // Throws: std::system_error, with the remedy, if the socket is exclusive, this is the first try
   // and another process serves the path.
   void listen();
   // Readable while a client waits to be accepted, or a client's socket is ready.
   int fd() const { return poll_.fd(); }
   // Calls handleClient( client, events ) for each client that is ready, then handleNew() if one
   // waits to be accepted.
   template < class Client, class HandleClient, class HandleNew >
   void forEachReady( HandleClient handleClient, HandleNew handleNew );
   // Takes a client. Returns none if that fails.
   Descriptor accept();
   // Returns true if this client has a place beside so many others. If not, logs it.
   bool hasPlace( ucred const& peer, std::size_t others );
   // Watches the socket of a client for EPOLL events; again with others.
   void watch( int fd, std::uint32_t events, void* client ) const;
   void watchAgain( int fd, std::uint32_t events, void* client ) const;
   // Call when a client has gone, so that the next client without a place is logged.
   void handleGone() { refusalIsTold_ = false; }
   // Logs a trouble with a client: at most one a second.
   void addTrouble( std::string const& text ) { troubles_.add( prefix() + text ); }
   // Call at the end of each turn.
   void endTurn();
   // Returns when to call endTurn() even if nothing happens, by Zet::now(); or nothing.
   std::optional< double > nextTime() const;

 private:
   // In seconds, before clients are accepted again.
   static constexpr double acceptPause = 1;
   // In seconds, between tries to listen, and between checks that the socket's file exists.
   static constexpr double listenPause = 3;
   static constexpr std::size_t eventLimit = 64;

   std::string prefix() const { return settings_.words.name + ": "; }
   void pauseAccepting( int error );
   void handleNotServed( std::string const& error );
   void control( int operation, int fd, std::uint32_t events, void* client ) const;
   void lookAfterSocket();

   Settings const settings_;
   Log& log_;
   std::optional< SocketFile > socket_; // Empty while clients can't connect.
   Descriptor poll_;
   Troubles troubles_;
   // The first refusal is logged, then none until a client has gone.
   bool refusalIsTold_ = false;
   // By Zet::now(). Set while no client is accepted: there is no socket, or no free descriptor.
   std::optional< double > listenAgainAt_;
   std::string listenError_; // As last logged; empty while clients can connect.
   double lookAt_ = 0;       // When to check the socket's file, by Zet::now().
};

template < class Client, class HandleClient, class HandleNew >
void
ServerSocket::forEachReady( HandleClient handleClient, HandleNew handleNew ) {
   std::array< epoll_event, eventLimit > events{};
   int const count = epoll_wait( poll_.fd(), events.data(), eventLimit, 0 );
   bool isNew = false;
   for ( int i = 0; i < count; ++i ) {
      epoll_event const& event = events[ static_cast< std::size_t >( i ) ];
      if ( event.data.ptr )
         handleClient( *static_cast< Client* >( event.data.ptr ), event.events );
      else
         isNew = true;
   }
   if ( isNew )
      handleNew();
}

} // namespace Ufdd
