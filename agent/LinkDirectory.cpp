#include "agent/LinkDirectory.h"

#include <linux/if.h>

#include <unordered_set>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

using Interface::EthIntfStatus;
using Interface::OperStatus;

LinkNews::Kind
kindOf( Link const& link, OperStatus before ) {
   using Kind = LinkNews::Kind;
   if ( !link.adminUp )
      return Kind::adminDown;
   if ( !link.carrier )
      return Kind::lostCarrier;
   switch ( link.operState ) {
   case IF_OPER_DORMANT:
   case IF_OPER_TESTING:
      return Kind::dormant;
   case IF_OPER_NOTPRESENT:
   case IF_OPER_DOWN:
   case IF_OPER_LOWERLAYERDOWN:
      // Older than the carrier; what the kernel makes of that will be told.
      return before == OperStatus::down ? Kind::dormant : Kind::up;
   default:
      return Kind::up;
   }
}

} // namespace

LinkDirectory::LinkDirectory( Zet::Ptr< Interface::EthIntfStatusDir > directory )
    : directory_( std::move( directory ) ) {}

void
LinkDirectory::watch( Kelnet::IntfId port ) {
   auto const [ at, isNew ] = ports_.try_emplace( port.name().view(), Port{ port, 0, nullptr } );
   if ( !isNew )
      return;
   for ( auto& [ index, known ] : links_ )
      if ( known.link.name.view() == at->first ) {
         known.port = &at->second;
         at->second.index = index;
         handleState( at->second, known.link );
      }
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

void
LinkDirectory::collectMembers( std::uint32_t lag, std::vector< Link >& members ) const {
   for ( auto const& [ index, known ] : links_ )
      if ( known.link.master == lag )
         members.push_back( known.link );
}

void
LinkDirectory::handleLinks( std::span< Link const > links ) {
   std::unordered_set< std::uint32_t > present;
   for ( Link const& link : links )
      present.insert( link.index );
   std::vector< std::uint32_t > gone;
   for ( auto const& [ index, known ] : links_ )
      if ( !present.contains( index ) )
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
   bool const isRenamed = hasNewName && known.link.index != 0;
   if ( hasNewName )
      handleName( known, link );
   known.link = link;
   if ( isRenamed && observer_ )
      observer_->handleRenamed( link.index, link.name );
   if ( known.port )
      handleState( *known.port, link );
   if ( observer_ )
      observer_->handleLink( link, known.port ? known.port->id : Kelnet::IntfId() );
}

void
LinkDirectory::handleName( Known& known, Link const& link ) {
   leave( known, link.index,
          { LinkNews::Kind::renamed, known.port ? known.port->id : Kelnet::IntfId(), link.name } );
   auto const at = ports_.find( link.name.view() );
   known.port = at == ports_.end() ? nullptr : &at->second;
   // Another link that still seems to have that name was renamed; the news of it will come.
   if ( known.port )
      known.port->index = link.index;
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
   news_ = {};
}

void
LinkDirectory::handleLinkGone( std::uint32_t index ) {
   auto const at = links_.find( index );
   if ( at == links_.end() )
      return;
   Known const known = at->second;
   links_.erase( at );
   leave( known, index,
          { LinkNews::Kind::removed, known.port ? known.port->id : Kelnet::IntfId(), {} } );
   if ( observer_ )
      observer_->handleGone( index );
}

void
LinkDirectory::leave( Known const& known, std::uint32_t index, LinkNews const& news ) {
   if ( !known.port || known.port->index != index )
      return;
   known.port->index = 0;
   known.port->status = nullptr;
   news_ = news;
   directory_->intfStatusDel( known.port->id );
   news_ = {};
}

} // namespace Ufdd
