#pragma once

#include "tests/agent/StatusReader.h"
#include "tests/attrlog/Connection.h"
#include "tests/sim/Schedule.h"

#include <array>
#include <optional>
#include <string>

namespace Simulation {

// Those who read the status of the daemon: some all that comes, others now and then or never.
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
   // Whether it is connected still.
   bool read( unsigned int number ) {
      std::optional< Reader >& reader = readers_[ number % readers_.size() ];
      return reader && reader->read();
   }
   // There is no daemon any more.
   void disconnect() {
      for ( auto& reader : readers_ )
         if ( reader )
            reader->isOpen = false;
   }
   // Who reads all wants to know how it goes on.
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
   // What is wrong when there was a moment to tell who reads all; at rest, everybody.
   std::string complaint( UplinkFailureDetection::Status const& status, bool isAtRest ) {
      for ( auto& reader : readers_ )
         if ( reader &&
              ( isAtRest ? reader->read() || reader->readsAll
                         : reader->isOpen && reader->readsAll ) &&
              !( reader->isOpen && reader->replica.isInStep() &&
                 Tests::stateOf( *reader->replica.status() ) == Tests::stateOf( status ) ) )
            return "a client knows " + Tests::stateOf( *reader->replica.status() );
      return complaint_;
   }

 private:
   struct Reader : Ufdd::StatusReader {
      Reader( std::string const& path, bool readsEverything, bool saysHello )
          : StatusReader( path, saysHello ), readsAll( readsEverything ), isPolite( saysHello ) {}
      bool readsAll;
      bool const isPolite; // Who says no hello is dropped.
   };

   std::string const path_;
   std::array< std::optional< Reader >, 3 > readers_;
   std::string complaint_;
};

} // namespace Simulation
