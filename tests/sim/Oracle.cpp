#include "tests/sim/Oracle.h"

#include "agent/PortHolder.h"

#include <algorithm>

namespace Simulation {

using Ufdd::SimulatedLink;

SimulatedLink const*
Oracle::find( std::string const& name ) const {
   for ( auto const& [ own, link ] : machine_.kernel.links() )
      if ( own == name || std::count( link.altNames.begin(), link.altNames.end(), name ) )
         return &link;
   return nullptr;
}

bool
Oracle::isDown( PlainGroup const& group ) const {
   auto const up =
       std::count_if( group.monitor.begin(), group.monitor.end(), [ & ]( auto const& name ) {
          SimulatedLink const* const link = find( name );
          return link && link->adminUp && link->carrier && !link->isDormant;
       } );
   return up < static_cast< std::ptrdiff_t >( group.minLinks );
}

Names
Oracle::downGroups() const {
   Names names;
   for ( PlainGroup const& group : config_.groups )
      if ( isDown( group ) )
         names.insert( group.name );
   return names;
}

bool
Oracle::isHolding( PlainGroup const& group ) const {
   bool const wasDown = downBefore_.contains( group.name );
   double const delay = wasDown ? group.recoveryDelay : group.downDelay;
   return !group.dryRun && ( since_ < delay ? wasDown : isDown( group ) );
}

Names
Oracle::linksOf( std::string const& port ) const {
   Names names;
   SimulatedLink const* const link = find( port );
   for ( auto const& [ own, other ] : machine_.kernel.links() )
      if ( link && ( link->isLag ? other.master == link->index : &other == link ) )
         names.insert( own );
   return names;
}

bool
Oracle::isFoughtOver( SimulatedLink const& link ) {
   constexpr std::size_t times = Ufdd::PortHolder::maxReopenings;
   // The daemon may have been slow to see the first ones.
   constexpr double within = Ufdd::PortHolder::reopeningSeconds + 40;
   for ( std::size_t i = times; i < link.openings.size(); ++i )
      if ( link.openings[ i ] - link.openings[ i - times ] < within )
         return true;
   return false;
}

std::string
Oracle::complaint() const {
   Names wanted;
   for ( PlainGroup const& group : config_.groups )
      if ( isHolding( group ) )
         for ( std::string const& port : group.disable )
            wanted.merge( linksOf( port ) );
   for ( auto const& [ name, link ] : machine_.kernel.links() ) {
      bool const hasMark = link.hasProtoDownReason( Ufdd::PortHolder::usualReason );
      bool const isShut = !link.adminUp || ( link.protoDown && !link.carrier );
      bool const isOurs = link.ours || hasMark;
      Ufdd::Holding const* const holding = machine_.remembered( link );
      if ( wanted.contains( name ) && !isShut && !isFoughtOver( link ) )
         return name + " is open";
      if ( !wanted.contains( name ) && isOurs )
         return name + " is still shut";
      if ( isOurs && !( holding && holding->isOn( link ) ) )
         return name + " is not remembered";
      if ( holding && !isOurs && !link.isUnclear )
         return name + " is remembered for nothing";
   }
   for ( Ufdd::Holding const& holding : machine_.ownership.holdings )
      if ( !find( std::string( holding.name.view() ) ) )
         return std::string( holding.name.view() ) + " is remembered, but gone";
   return "";
}

Names
Oracle::touchedBy( std::string const& uplink ) const {
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

} // namespace Simulation
