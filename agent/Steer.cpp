#include "agent/Steer.h"

#include "agent/base/NearestWord.h"
#include "agent/base/Printable.h"
#include "model/GroupConfig.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

using Kind = ControlReply::Kind;
using Verb = ControlRequest::Verb;

void
addSentence( std::string& text, std::string const& sentence ) {
   text += ( text.empty() ? "" : "; " ) + sentence;
}

std::string
text( Kelnet::IntfId port ) {
   return std::string( port.name().view() );
}

} // namespace

Order const*
Steer::Target::orderIn( OrderBook const& book ) const {
   OrderBook::Orders const& orders = isGroup ? book.groups : book.ports;
   auto const at = orders.find( name );
   return at == orders.end() ? nullptr : &at->second;
}

std::vector< Kelnet::IntfId >
Steer::allPorts() const {
   std::set< Kelnet::IntfId > ports;
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
      for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
         ports.insert( port.key() );
   return { ports.begin(), ports.end() };
}

std::vector< Kelnet::IntfId >
Steer::portsOf( Target const& target ) const {
   if ( !target.isGroup )
      return { Kelnet::IntfId( target.name ) };
   std::vector< Kelnet::IntfId > ports;
   auto const group = detector_.config->group( Zet::Name( target.name ) );
   for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
      ports.push_back( port.key() );
   return ports;
}

ControlReply
Steer::handle( ControlRequest const& request ) {
   Targets targets;
   if ( auto const objection = findTargets( request, targets ) )
      return *objection;
   for ( Target const& target : targets )
      if ( auto const objection = objectionTo( request, target ) )
         return *objection;
   return request.verb == Verb::clear ? clear( request, targets ) : order( request, targets );
}

Steer::Objection
Steer::findTargets( ControlRequest const& request, Targets& targets ) const {
   std::vector< Kelnet::IntfId > const ports = allPorts();
   std::vector< std::string_view > groupNames, names;
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
      groupNames.push_back( group->name().view() );
   bool const isForGroups = request.verb == Verb::disable;
   names = groupNames;
   for ( Kelnet::IntfId const port : ports )
      if ( !isForGroups )
         names.push_back( port.name().view() );
   for ( std::string const& name : request.targets ) {
      bool const isGroup = std::ranges::find( groupNames, name ) != groupNames.end();
      if ( isGroup || std::ranges::find( names, name ) != names.end() ) {
         targets.push_back( { isGroup, name } );
         continue;
      }
      auto const nearest = nearestWord( name, names );
      bool const isPort = isForGroups && std::ranges::any_of( ports, [ & ]( Kelnet::IntfId port ) {
                             return port.name().view() == name;
                          } );
      return reply( Kind::unknown,
                    ( isForGroups ? "there is no group " : "there is no group or port " ) +
                        inQuotes( name ) +
                        ( isPort    ? "; it is a port, and only groups can be disabled"
                          : nearest ? "; did you mean " + inQuotes( std::string( *nearest ) ) + "?"
                                    : "" ) );
   }
   return {};
}

Steer::Objection
Steer::objectionTo( ControlRequest const& request, Target const& target ) {
   switch ( request.verb ) {
   case Verb::down:
      return objectionToDown( request, target );
   case Verb::clear:
      return objectionToClear( target );
   default:
      return {};
   }
}

Steer::Objection
Steer::objectionToDown( ControlRequest const& request, Target const& target ) {
   auto const isDryRun = [ this ]( std::string_view group ) {
      return detector_.decisions().of( Zet::Name( group ) ).policy().dryRun;
   };
   std::vector< Kelnet::IntfId > const ports = portsOf( target );
   bool isOfDryRuns = true;
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
      if ( target.isGroup ? group->name().view() == target.name
                          : group->intfsToDisable( ports.front() ) )
         isOfDryRuns &= isDryRun( group->name().view() );
   if ( isOfDryRuns )
      return reply(
          Kind::refused,
          target.text() +
              ( target.isGroup ? " is in dry_run" : " is only in groups that are in dry_run" ) +
              ", so nothing of it is shut; remove dry_run from the configuration first" );
   if ( !target.isGroup && portControl_.isProtected( ports.front() ) )
      return reply( Kind::refused, target.text() + " is never shut: the configuration names it, or "
                                                   "its LAG, in protect" );
   for ( Kelnet::IntfId const port : ports )
      if ( !request.isForced && !portControl_.isProtected( port ) && !portControl_.isOurs( port ) &&
           portControl_.carriesDefaultRoute( port ) )
         return reply( Kind::refused,
                       "port " + text( port ) +
                           " carries this machine's default route: shut, the machine may not be "
                           "reachable any more; to shut it all the same, add --force" );
   return {};
}

Steer::Objection
Steer::objectionToClear( Target const& target ) {
   OrderBook const& book = orders_.book();
   for ( Kelnet::IntfId const port : portsOf( target ) ) {
      if ( !detector_.reasons().isOrderedDown( port ) )
         continue;
      std::string const subject = "port " + text( port ) + " is ordered down";
      if ( book.ports.contains( port.name().view() ) )
         return reply( Kind::refused,
                       subject + "; end that order first: ufdctl auto " + text( port ) );
      for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
         if ( std::string const name( group->name().view() );
              group->intfsToDisable( port ) &&
              detector_.decisions().of( group->name() ).stance() == GroupMode::orderedDown )
            return reply( Kind::refused,
                          std::string( subject )
                              .append( " with group " )
                              .append( name )
                              .append( book.groups.contains( name )
                                           ? "; end that order first: ufdctl auto " + name
                                           : "; remove force_down from the configuration first" ) );
   }
   return {};
}

ControlReply
Steer::order( ControlRequest const& request, Targets const& targets ) {
   OrderBook next = orders_.book();
   double const now = Zet::now();
   for ( Target const& target : targets ) {
      OrderBook::Orders& orders = target.isGroup ? next.groups : next.ports;
      if ( request.verb == Verb::automatic )
         orders.erase( target.name );
      else
         orders.insert_or_assign(
             target.name,
             Order{ .kind = request.verb == Verb::disable ? OrderKind::disable : OrderKind::down,
                    .isForced = request.isForced,
                    .uid = request.uid,
                    .since = now,
                    .until = request.holdFor ? now + *request.holdFor : never,
                    .reason = request.reason } );
   }
   ControlReply answer = moves( next, request.isForced );
   answer.text = remarks( request, targets );
   if ( request.isDryRun )
      return answer;
   if ( int const error = orders_.bookIs( std::move( next ) ) )
      return unrecorded( error, orders_.place() );
   log( request, targets );
   return answer;
}

ControlReply
Steer::moves( OrderBook const& next, bool isForced ) {
   PortReasons const& reasons = detector_.reasons();
   ControlReply answer;
   for ( Kelnet::IntfId const port : allPorts() ) {
      auto const demand = reasons.demandUnder( next, port );
      if ( demand == reasons.demandUnder( orders_.book(), port ) )
         continue;
      if ( !demand.isShut && portControl_.isOurs( port ) )
         answer.toOpen.push_back( text( port ) );
      else if ( demand.isShut &&
                portControl_.wouldShut( port, demand.isOrderedDown,
                                        isForced || reasons.allowsDefaultRoute( port ) ) )
         answer.toShut.push_back( text( port ) );
   }
   return answer;
}

std::string
Steer::remarks( ControlRequest const& request, Targets const& targets ) {
   std::vector< Kelnet::IntfId > const ports = allPorts();
   std::string remarks;
   for ( Target const& target : targets ) {
      if ( target.isGroup && request.verb != Verb::disable &&
           std::ranges::find( ports, Kelnet::IntfId( target.name ) ) != ports.end() )
         addSentence( remarks, inQuotes( target.name ) + " is the name of a port as well; this is "
                                                         "about the group" );
      if ( request.verb == Verb::automatic && !target.orderIn( orders_.book() ) )
         addSentence( remarks, "there is no order about " + target.text() );
      for ( Kelnet::IntfId const port : portsOf( target ) ) {
         if ( request.verb == Verb::down && portControl_.isProtected( port ) )
            addSentence( remarks,
                         "port " + text( port ) + " stays open: the configuration protects it" );
         if ( request.verb == Verb::down && !portControl_.exists( port ) )
            addSentence( remarks, "there is no port " + text( port ) +
                                      " at present; it is shut once it exists" );
         if ( target.isGroup && request.verb != Verb::down &&
              orders_.book().ports.contains( port.name().view() ) )
            addSentence( remarks, "port " + text( port ) +
                                      " has an order of its own, which stands; to end it: ufdctl "
                                      "auto " +
                                      text( port ) );
      }
   }
   return remarks;
}

ControlReply
Steer::clear( ControlRequest const& request, Targets const& targets ) {
   ControlReply answer;
   std::vector< Kelnet::IntfId > ports;
   for ( Target const& target : targets ) {
      std::size_t const before = ports.size();
      for ( Kelnet::IntfId const port : portsOf( target ) )
         if ( detector_.decisions().mustBeShut( port ) &&
              std::ranges::find( ports, port ) == ports.end() )
            ports.push_back( port );
      if ( before == ports.size() )
         addSentence( answer.text, "nothing of " + target.text() +
                                       " must be shut, so there is "
                                       "nothing to clear" );
   }
   OrderBook next = orders_.book();
   for ( Kelnet::IntfId const port : ports ) {
      std::erase_if( next.latches, [ & ]( OrderBook::Latch const& latch ) {
         return latch.second == port.name().view();
      } );
      if ( portControl_.isOurs( port ) )
         answer.toOpen.push_back( text( port ) );
   }
   if ( request.isDryRun )
      return answer;
   OrderBook const former = orders_.book();
   if ( int const error = orders_.bookIs( std::move( next ) ) )
      return unrecorded( error, orders_.place() );
   if ( int const error = portControl_.clear( ports ) ) {
      orders_.bookIs( former );
      return unrecorded( error, portControl_.recordPlace() );
   }
   for ( Kelnet::IntfId const port : ports )
      detector_.decisions().unlatch( port );
   log( request, targets );
   return answer;
}

ControlReply
Steer::unrecorded( int error, std::string const& place ) const {
   return reply( Kind::failed, "nothing was done, since it can't be recorded in " + place + ": " +
                                   ( error == EEXIST ? "the file there can't be read; move it away"
                                                     : std::generic_category().message( error ) ) );
}

void
Steer::log( ControlRequest const& request, Targets const& targets ) {
   std::string const who = " by uid " + std::to_string( request.uid ) + " (process " +
                           std::to_string( request.pid ) + ")";
   for ( Target const& target : targets ) {
      LogEvent event{ .id = LogEvent::order };
      if ( target.isGroup )
         event.groups.push_back( target.name );
      else
         event.port = target.name;
      Order const* const order = target.orderIn( orders_.book() );
      log_.event( event, target.text() + ( request.verb == Verb::clear ? ": cleared" + who
                                           : order ? ": " + orderText( *order ) + ", asked" + who
                                                   : ": does as configured, asked" + who ) );
   }
}

} // namespace Ufdd
