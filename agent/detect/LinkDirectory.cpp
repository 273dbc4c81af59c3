#include "agent/detect/LinkDirectory.h"

#include <linux/if.h>

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

using Interface::EthIntfStatus;
using Interface::OperStatus;

// What the kernel makes of the carrier will be told.
bool
isOlderThanCarrier( std::uint8_t operState ) {
   return operState == IF_OPER_NOTPRESENT || operState == IF_OPER_DOWN ||
          operState == IF_OPER_LOWERLAYERDOWN;
}

LinkNews::Kind
kindOf( Link const& link, OperStatus before ) {
   using Kind = LinkNews::Kind;
   if ( !link.adminUp )
      return Kind::adminDown;
   if ( !link.carrier )
      return Kind::lostCarrier;
   bool const isDormant = link.operState == IF_OPER_DORMANT || link.operState == IF_OPER_TESTING ||
                          ( isOlderThanCarrier( link.operState ) && before == OperStatus::down );
   return isDormant ? Kind::dormant : Kind::up;
}

} // namespace

LinkDirectory::LinkDirectory( Zet::Ptr< Interface::EthIntfStatusDir > directory )
    : directory_( std::move( directory ) ) {}

void
LinkDirectory::watch( Kelnet::IntfId port ) {
   auto const [ at, isNew ] = ports_.try_emplace( port.name().view(), Port{ port, 0, nullptr } );
   if ( !isNew )
      return;
   for ( auto& [ index, known ] : links_ ) {
      known.ports = portsOf( known.link );
      if ( std::find( known.ports.begin(), known.ports.end(), &at->second ) == known.ports.end() )
         continue;
      at->second.index = index;
      handleState( at->second, known.link );
   }
}

void
LinkDirectory::watch( std::span< Kelnet::IntfId const > ports ) {
   for ( Kelnet::IntfId const port : ports )
      watch( port );
}

void
LinkDirectory::watchOnly( std::span< Kelnet::IntfId const > ports ) {
   std::unordered_set< std::string_view > wanted;
   for ( Kelnet::IntfId const port : ports )
      wanted.insert( port.name().view() );
   auto const isUnwanted = [ & ]( Kelnet::IntfId port ) {
      return !wanted.contains( port.name().view() );
   };
   for ( auto& [ index, known ] : links_ )
      std::erase_if( known.ports, [ & ]( Port const* port ) { return isUnwanted( port->id ); } );
   for ( auto& [ name, port ] : ports_ )
      if ( isUnwanted( port.id ) )
         leave( port, port.index, {} );
   std::erase_if( ports_, [ & ]( auto const& port ) { return isUnwanted( port.second.id ); } );
}

Link const*
LinkDirectory::link( std::uint32_t index ) const {
   auto const at = links_.find( index );
   return at == links_.end() ? nullptr : &at->second.link;
}

Link const*
LinkDirectory::link( Kelnet::IntfId port ) const {
   auto const at = ports_.find( port.name().view() );
   return at == ports_.end() ? nullptr : link( at->second.index );
}

std::vector< std::uint32_t >
LinkDirectory::unsettled() const {
   std::vector< std::uint32_t > indexes;
   for ( auto const& [ index, known ] : links_ )
      if ( !known.ports.empty() && known.link.carrier &&
           isOlderThanCarrier( known.link.operState ) )
         indexes.push_back( index );
   return indexes;
}

void
LinkDirectory::collectMembers( std::uint32_t lag, std::vector< Link >& members ) const {
   for ( auto const& [ index, known ] : links_ )
      if ( known.link.master == lag )
         members.push_back( known.link );
}

void
LinkDirectory::handleLinks( std::span< Link const > links ) {
   std::unordered_map< std::uint32_t, Link const* > present; // By index.
   for ( Link const& link : links )
      present.emplace( link.index, &link );
   std::vector< std::uint32_t > gone;
   for ( auto const& [ index, known ] : links_ )
      if ( auto const now = present.find( index );
           now == present.end() || now->second->isOtherThan( known.link.address ) )
         gone.push_back( index );
   for ( std::uint32_t const index : gone )
      handleLinkGone( index );
   for ( Link const& link : links )
      handleLink( link );
}

void
LinkDirectory::handleLink( Link const& link ) {
   Known& known = links_[ link.index ];
   bool const hasNewName = known.link.name != link.name;
   bool const isNew = known.link.index == 0;
   bool const isRenamed = hasNewName && !isNew;
   if ( hasNewName || known.link.altNames != link.altNames )
      handleName( known, link );
   known.link = link;
   if ( isRenamed && observer_ )
      observer_->handleRenamed( link.index, link.name );
   if ( isNew && observer_ )
      observer_->handleNew( link );
   for ( Port* const port : known.ports )
      if ( port->index == link.index )
         handleState( *port, link );
   if ( observer_ )
      observer_->handleLink( link );
}

void
LinkDirectory::handleName( Known& known, Link const& link ) {
   std::vector< Port* > const before = std::exchange( known.ports, portsOf( link ) );
   for ( Port* const port : before )
      if ( std::find( known.ports.begin(), known.ports.end(), port ) == known.ports.end() )
         leave( *port, link.index, { LinkNews::Kind::renamed, port->id, link.name } );
   // Another link that still seems to have one of them was renamed; the news of it will come.
   for ( Port* const port : known.ports )
      port->index = link.index;
}

std::vector< LinkDirectory::Port* >
LinkDirectory::portsOf( Link const& link ) {
   std::vector< Port* > ports;
   auto const add = [ & ]( std::string_view name ) {
      if ( auto const at = ports_.find( name ); at != ports_.end() )
         ports.push_back( &at->second );
   };
   add( link.name.view() );
   for ( std::string const& name : link.altNames )
      add( name );
   return ports;
}

void
LinkDirectory::handleState( Port& port, Link const& link ) {
   OperStatus const before = port.status ? port.status->operStatus() : OperStatus::unknown;
   LinkNews::Kind const kind = kindOf( link, before );
   OperStatus const operStatus = kind == LinkNews::Kind::up ? OperStatus::up : OperStatus::down;
   news_ = { kind, port.id, {} };
   if ( port.status ) {
      port.status->operStatusIs( operStatus );
   } else {
      // Known before it is shown, so that the groups evaluate it once.
      port.status = EthIntfStatus::EthIntfStatusIs( port.id );
      port.status->operStatusIs( operStatus );
      directory_->intfStatusIs( port.status );
   }
   if ( operStatus != before )
      changes_.push_back( news_ );
   news_ = {};
}

void
LinkDirectory::handleLinkGone( std::uint32_t index ) {
   auto const at = links_.find( index );
   if ( at == links_.end() )
      return;
   std::vector< Port* > const ports = std::move( at->second.ports );
   links_.erase( at );
   for ( Port* const port : ports )
      leave( *port, index, { LinkNews::Kind::removed, port->id, {} } );
   if ( observer_ )
      observer_->handleGone( index );
}

void
LinkDirectory::leave( Port& port, std::uint32_t index, LinkNews const& news ) {
   if ( port.index != index )
      return;
   port.index = 0;
   port.status = nullptr;
   news_ = news;
   directory_->intfStatusDel( port.id );
   changes_.push_back( news_ );
   news_ = {};
}

} // namespace Ufdd
