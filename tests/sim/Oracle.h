#pragma once

#include "agent/ports/PortControl.h"
#include "tests/sim/Machine.h"
#include "tests/sim/PlainConfig.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Simulation {

using Ufdd::SimulatedLink;

// What is to be when nothing has happened for a while, told from the links themselves.
class Oracle {
 public:
   Oracle( PlainConfig const& config, Machine& machine ) : config_( config ), machine_( machine ) {}

   // Since so many seconds it has been as it is now, and before that long enough like this.
   void changed( double seconds, Names downBefore ) {
      since_ = seconds;
      downBefore_ = std::move( downBefore );
   }

   bool isDown( PlainGroup const& group ) const {
      unsigned int up = 0;
      for ( std::string const& name : group.monitor )
         if ( SimulatedLink const* const link = find( name ) )
            up += link->adminUp && link->carrier && !link->isDormant;
      return up < group.minLinks;
   }

   Names downGroups() const {
      Names names;
      for ( PlainGroup const& group : config_.groups )
         if ( isDown( group ) )
            names.insert( group.name );
      return names;
   }

   // What is wrong about the links, or nothing.
   std::string complaint() const {
      Names wanted;
      for ( PlainGroup const& group : config_.groups )
         if ( isHolding( group ) )
            for ( std::string const& port : group.disable )
               wanted.merge( linksOf( port ) );
      for ( auto const& [ name, link ] : machine_.kernel.links() ) {
         bool const hasMark = link.hasProtoDownReason( Ufdd::Link::usualReason );
         bool const isShut = !link.adminUp || ( link.protoDown && !link.carrier );
         bool const isOurs = link.ours || hasMark;
         Ufdd::OwnedLink const* const owned = machine_.remembered( link );
         if ( wanted.contains( name ) && !isShut && !isFoughtOver( link ) )
            return name + " is open";
         if ( !wanted.contains( name ) && isOurs )
            return name + " is still shut";
         if ( isOurs && !( owned && owned->isApplied( link ) ) )
            return name + " is not remembered";
         if ( owned && !isOurs && !link.isUnclear )
            return name + " is remembered for nothing";
      }
      for ( Ufdd::OwnedLink const& owned : machine_.store.links )
         if ( !find( std::string( owned.name.view() ) ) )
            return std::string( owned.name.view() ) + " is remembered, but gone";
      return "";
   }

   // The interfaces that may be touched when that one loses carrier.
   Names touchedBy( std::string const& uplink ) const {
      Names touched;
      Names news{ uplink };
      for ( std::size_t size = 0; std::exchange( size, news.size() ) != news.size(); ) {
         for ( PlainGroup const& group : config_.groups )
            for ( std::string const& name : group.monitor )
               if ( SimulatedLink const* const link = find( name );
                    link && news.contains( std::string( link->name.view() ) ) )
                  for ( std::string const& port : group.disable )
                     touched.merge( linksOf( port ) );
         news.insert( touched.begin(), touched.end() );
         // A LAG goes with its members.
         for ( auto const& [ name, link ] : machine_.kernel.links() )
            for ( auto const& [ other, lag ] : machine_.kernel.links() )
               if ( link.master == lag.index && news.contains( name ) )
                  news.insert( other );
      }
      return touched;
   }

   // Whether others have opened it so often that the daemon may have given up, which may have been
   // slow to see the first times.
   static bool isFoughtOver( SimulatedLink const& link ) {
      constexpr std::size_t times = Ufdd::PortActs::maxReopenings;
      for ( std::size_t i = times; i < link.openings.size(); ++i )
         if ( link.openings[ i ] - link.openings[ i - times ] <
              Ufdd::PortActs::reopeningSeconds + 40 )
            return true;
      return false;
   }

 private:
   SimulatedLink const* find( std::string const& name ) const {
      for ( auto const& [ own, link ] : machine_.kernel.links() )
         if ( own == name || std::count( link.altNames.begin(), link.altNames.end(), name ) )
            return &link;
      return nullptr;
   }
   // The interfaces that are to be shut for a port.
   Names linksOf( std::string const& port ) const {
      Names names;
      SimulatedLink const* const link = find( port );
      for ( auto const& [ own, other ] : machine_.kernel.links() )
         if ( link && ( link->isLag ? other.master == link->index : &other == link ) )
            names.insert( own );
      return names;
   }
   // Whether it holds its ports.
   bool isHolding( PlainGroup const& group ) const {
      bool const wasDown = downBefore_.contains( group.name );
      double const delay = wasDown ? group.recoveryDelay : group.downDelay;
      return !group.dryRun && ( since_ < delay ? wasDown : isDown( group ) );
   }

   PlainConfig const& config_;
   Machine& machine_;
   double since_ = 1e9;
   Names downBefore_;
};

} // namespace Simulation
