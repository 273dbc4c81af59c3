#include "tests/sm/PlainDetector.h"

#include <algorithm>
#include <utility>

namespace Scenario {

bool
PlainDetector::InOrder::operator()( char left, char right ) const {
   return std::pair( intf( left ).position(), left ) < std::pair( intf( right ).position(), right );
}

void
PlainDetector::hear( std::string const& what ) {
   heard_ += ( heard_.empty() ? "" : " " ) + what;
}

void
PlainDetector::entryIs( char intf ) {
   if ( entries_.emplace( intf, now_ ).second )
      hear( entryText( intf, &now_ ) );
}

void
PlainDetector::entryDel( char intf ) {
   if ( entries_.erase( intf ) )
      hear( entryText( intf, nullptr ) );
}

void
PlainDetector::check( char group, bool counts ) {
   auto const& [ monitored, downstream, minLinks ] = config_[ group ];
   Record& record = records_[ group ];
   std::string const id( 1, group );
   auto const up = std::count_if( monitored.begin(), monitored.end(), [ & ]( auto const& member ) {
      auto const link = links_.find( member.first );
      return link != links_.end() && link->second == "up";
   } );
   bool const down = minLinks > static_cast< unsigned int >( up );
   for ( auto const& [ port, flag ] : downstream )
      down ? entryIs( port ) : entryDel( port );
   std::string const before = std::exchange( record.link, down ? "down" : "up" );
   if ( before == record.link )
      return;
   hear( id + ":" + record.link );
   if ( !down || !counts )
      return;
   hear( id + "#" + std::to_string( ++record.times ) );
   if ( std::exchange( record.time, now_ ) != now_ )
      hear( id + entryText( ' ', &now_ ).substr( 1 ) );
}

void
PlainDetector::handle( char group, char intf ) {
   Collection< bool > const& monitored = config_[ group ].monitored;
   auto const member = monitored.find( intf );
   if ( member != monitored.end() && member->second && links_.contains( intf ) ) {
      std::vector< char >& watchers = watchers_[ intf ];
      if ( std::find( watchers.begin(), watchers.end(), group ) == watchers.end() )
         watchers.push_back( group );
   } else {
      std::erase( watchers_[ intf ], group );
      entryDel( intf );
   }
}

void
PlainDetector::handleInAll( char intf ) {
   for ( char const group : machines_ ) {
      handle( group, intf );
      check( group, true );
   }
}

void
PlainDetector::create( char group ) {
   if ( records_.emplace( group, Record() ).second )
      hear( std::string( 1, group ) + "+" );
   machines_.push_back( group );
   for ( auto const& [ intf, flag ] : config_[ group ].monitored )
      handle( group, intf );
   check( group, false );
}

void
PlainDetector::remove( char group ) {
   for ( auto& [ intf, watchers ] : watchers_ )
      std::erase( watchers, group );
   for ( auto const& [ port, flag ] : config_[ group ].downstream )
      entryDel( port );
   std::erase( machines_, group );
   if ( records_.erase( group ) )
      hear( std::string( 1, group ) + "-" );
}

void
PlainDetector::startAll() {
   runs_ = true;
   machines_.clear();
   watchers_.clear();
   for ( auto const& [ group, members ] : config_ )
      create( group );
}

void
PlainDetector::apply( Event const& event ) {
   auto const [ verb, group, intf, number ] = event;
   auto const found = config_.find( group );
   bool const configured = found != config_.end();
   auto const changed = [ &, g = group, i = intf ]( bool change ) {
      if ( change && runs_ ) {
         handle( g, i );
         check( g, true );
      }
   };
   auto const stored = [ i = intf ]( Collection< bool >& members, bool flag ) {
      auto const [ member, added ] = members.emplace( i, flag );
      return std::exchange( member->second, flag ) != flag || added;
   };
   switch ( verb ) {
   case Verb::group:
      if ( !configured ) {
         config_[ group ];
         if ( runs_ )
            create( group );
      }
      break;
   case Verb::ungroup:
      if ( configured && runs_ )
         remove( group );
      config_.erase( group );
      break;
   case Verb::monitor:
   case Verb::count:
      changed( configured && stored( found->second.monitored, verb == Verb::monitor ) );
      break;
   case Verb::unmonitor:
      changed( configured && found->second.monitored.erase( intf ) );
      break;
   case Verb::disable:
      changed( configured && stored( found->second.downstream, true ) );
      break;
   case Verb::release:
      changed( configured && found->second.downstream.erase( intf ) );
      break;
   case Verb::min:
      if ( configured && std::exchange( found->second.minLinks, number ) != number && runs_ )
         check( group, true );
      break;
   case Verb::appear:
      if ( links_.emplace( intf, "unknown" ).second )
         handleInAll( intf );
      break;
   case Verb::vanish:
      if ( links_.erase( intf ) )
         handleInAll( intf );
      break;
   case Verb::up:
   case Verb::down: {
      std::string const link = verb == Verb::up ? "up" : "down";
      if ( links_.contains( intf ) && std::exchange( links_[ intf ], link ) != link )
         for ( char const watcher : watchers_[ intf ] )
            check( watcher, true );
      break;
   }
   case Verb::wait:
      now_ += number;
      break;
   case Verb::start:
      if ( !runs_ )
         startAll();
      break;
   case Verb::stop:
      runs_ = false;
      machines_.clear();
      watchers_.clear();
      break;
   case Verb::swap:
      std::swap( records_, otherRecords_ );
      if ( runs_ )
         startAll();
      break;
   case Verb::replace:
      break;
   }
}

std::string
PlainDetector::state() const {
   std::string result;
   for ( auto const& [ group, record ] : records_ )
      result += recordText( group, record.link, record.times, record.time ) + " ";
   result += "|";
   for ( auto const& [ port, time ] : entries_ )
      result += " " + entryText( port, &time );
   return result;
}

} // namespace Scenario
