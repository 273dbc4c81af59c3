#pragma once

#include "tests/agent/StatusReader.h"
#include "tests/attrlog/Connection.h"
#include "tests/sim/Schedule.h"

#include <array>
#include <optional>
#include <string>

namespace Simulation {

// Clients that read the status of the daemon. Some read all that comes, others now and then or
// never.
class Readers {
 public:
   explicit Readers( std::string const& path ) : path_( path ) {}

   void apply( Event const& event ) {
      std::optional< Reader >& reader = readers_[ event.a % readers_.size() ];
      if ( event.verb == "connect" ) {
         reader.emplace( path_, event.b % 2 != 0, event.b % 4 != 0 );
      } else if ( event.verb == "leave" ) {
         reader.reset();
      } else if ( event.verb == "read" && reader ) {
         reader->read();
         reader->readsAll = event.b % 2 != 0 && reader->isPolite;
      }
   }
   // Returns true if the client is still connected.
   bool read( unsigned int number ) {
      std::optional< Reader >& reader = readers_[ number % readers_.size() ];
      return reader && reader->read();
   }
   // The daemon has ended.
   void disconnect() {
      for ( auto& reader : readers_ )
         if ( reader )
            reader->isOpen = false;
   }
   // Connects the clients that read all to the next daemon.
   void connect() {
      for ( auto& reader : readers_ )
         if ( reader && reader->readsAll && !reader->isOpen )
            reader->connect();
   }
   void readAll() {
      for ( auto& reader : readers_ )
         if ( reader && reader->readsAll && reader->isOpen && !reader->read() )
            complaint_ = "a client was dropped, though it reads all: " + reader->replica.error();
   }
   // Returns what is wrong, or nothing. Expects the clients that read all to be up to date; at
   // rest, all clients.
   std::string complaint( Ufdd::StatusRoots const& roots, bool isAtRest ) {
      for ( auto& reader : readers_ )
         if ( reader &&
              ( isAtRest ? reader->read() || reader->readsAll
                         : reader->isOpen && reader->readsAll ) &&
              !( reader->isOpen && reader->replica.isInStep() &&
                 stateOf( reader->replica.roots() ) == stateOf( roots ) ) )
            return "a client knows " + stateOf( reader->replica.roots() );
      return complaint_;
   }

 private:
   struct Reader : Ufdd::StatusReader {
      Reader( std::string const& path, bool readsEverything, bool saysHello )
          : StatusReader( path, saysHello ), readsAll( readsEverything ), isPolite( saysHello ) {}
      bool readsAll;
      bool const isPolite; // Says hello; else the daemon drops the client.
   };

   static std::string stateOf( Ufdd::StatusRoots const& roots ) {
      return Tests::stateOf( *roots.config ) + Tests::stateOf( *roots.status ) +
             Tests::stateOf( *roots.state );
   }

   std::string const path_;
   std::array< std::optional< Reader >, 3 > readers_;
   std::string complaint_;
};

} // namespace Simulation
