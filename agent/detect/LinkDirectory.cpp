#include "agent/detect/LinkDirectory.h"

#include "platform/zet/Clock.h"

#include <linux/if.h>

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

using Interface::EthIntfStatus;
using Interface::OperStatus;

// Returns true if the operational state of a link with carrier is out of date: a message with the
// new state will come.
bool
maybeOutdated( std::uint8_t operState ) {
   return operState == IF_OPER_NOTPRESENT || operState == IF_OPER_DOWN ||
          operState == IF_OPER_LOWERLAYERDOWN;
}

// Until the message with the new operational state comes, a link that was down stays down, and any
// other one counts as up.
LinkCondition
conditionOf( Link const& link, LinkCondition before ) {
   if ( !link.adminUp )
      return LinkCondition::setDown;
   if ( !link.carrier )
      return LinkCondition::noCarrier;
   bool const isDormant = link.operState == IF_OPER_DORMANT || link.operState == IF_OPER_TESTING ||
                          ( maybeOutdated( link.operState ) && before != LinkCondition::up &&
                            before != LinkCondition::absent );
   return isDormant ? LinkCondition::dormant : LinkCondition::up;
}

} // namespace

LinkDirectory::LinkDirectory( Zet::Ptr< Interface::EthIntfStatusDir > directory )
    : directory_( std::move( directory ) ) {}

void
LinkDirectory::watch( Kelnet::IntfId name ) {
   auto const [ at, isNew ] =
       watched_.try_emplace( name.name().view(), WatchedName{ name, 0, nullptr } );
   if ( !isNew )
      return;
   for ( auto& [ index, known ] : links_ ) {
      known.names = watchedOf( known.link );
      if ( std::find( known.names.begin(), known.names.end(), &at->second ) == known.names.end() )
         continue;
      at->second.index = index;
      handleState( at->second, known.link );
      touch( known );
   }
}

void
LinkDirectory::watch( std::span< Kelnet::IntfId const > names ) {
   for ( Kelnet::IntfId const name : names )
      watch( name );
}

void
LinkDirectory::watchOnly( std::span< Kelnet::IntfId const > names ) {
   std::unordered_set< std::string_view > wanted;
   for ( Kelnet::IntfId const name : names )
      wanted.insert( name.name().view() );
   auto const isUnwanted = [ & ]( Kelnet::IntfId name ) {
      return !wanted.contains( name.name().view() );
   };
   for ( auto& [ index, known ] : links_ )
      std::erase_if( known.names,
                     [ & ]( WatchedName const* name ) { return isUnwanted( name->id ); } );
   for ( auto& [ text, name ] : watched_ )
      if ( isUnwanted( name.id ) )
         leave( name, name.index, {} );
   std::erase_if( watched_, [ & ]( auto const& name ) { return isUnwanted( name.second.id ); } );
}

Link const*
LinkDirectory::link( std::uint32_t index ) const {
   auto const at = links_.find( index );
   return at == links_.end() ? nullptr : &at->second.link;
}

Link const*
LinkDirectory::link( Kelnet::IntfId name ) const {
   auto const at = watched_.find( name.name().view() );
   return at == watched_.end() ? nullptr : link( at->second.index );
}

LinkCondition
LinkDirectory::conditionOf( Kelnet::IntfId name ) const {
   auto const at = watched_.find( name.name().view() );
   return at == watched_.end() ? LinkCondition::absent : effectiveCondition( at->second );
}

LinkCondition
LinkDirectory::effectiveCondition( WatchedName const& name ) {
   return name.condition == LinkCondition::up && !name.failure.empty() ? LinkCondition::failedCheck
                                                                       : name.condition;
}

Zet::String8
LinkDirectory::failureOf( Kelnet::IntfId name ) const {
   auto const at = watched_.find( name.name().view() );
   return at == watched_.end() ? Zet::String8() : at->second.failure;
}

bool
LinkDirectory::isLinkUp( Kelnet::IntfId name ) const {
   auto const at = watched_.find( name.name().view() );
   return at != watched_.end() && at->second.condition == LinkCondition::up;
}

void
LinkDirectory::failureIs( Kelnet::IntfId name, Zet::String8 failure ) {
   auto const at = watched_.find( name.name().view() );
   if ( at == watched_.end() || at->second.failure == failure )
      return;
   at->second.failure = std::move( failure );
   if ( Link const* const known = link( at->second.index ) )
      handleState( at->second, *known );
   touch( name );
}

std::vector< std::uint32_t >
LinkDirectory::outdated() const {
   std::vector< std::uint32_t > indexes;
   for ( auto const& [ index, known ] : links_ )
      if ( !known.names.empty() && known.link.carrier && maybeOutdated( known.link.operState ) )
         indexes.push_back( index );
   return indexes;
}

std::vector< std::string_view >
LinkDirectory::names() const {
   std::vector< std::string_view > names;
   for ( auto const& [ index, known ] : links_ ) {
      names.push_back( known.link.name.view() );
      names.insert( names.end(), known.link.altNames.begin(), known.link.altNames.end() );
   }
   return names;
}

void
LinkDirectory::collectMembers( std::uint32_t master, std::vector< Link >& members ) const {
   for ( auto const& [ index, known ] : links_ )
      if ( known.link.master == master )
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
   KnownLink& known = links_[ link.index ];
   bool const hasNewName = known.link.name != link.name;
   bool const isNew = known.link.index == 0;
   bool const isRenamed = hasNewName && !isNew;
   if ( hasNewName || known.link.altNames != link.altNames )
      handleName( known, link );
   shape_ += hasNewName || known.link.master != link.master || known.link.lower != link.lower;
   if ( known.link.master != link.master )
      touch( known );
   known.link = link;
   if ( isRenamed && listener_ )
      listener_->handleRenamed( link.index, link.name );
   if ( isNew && listener_ )
      listener_->handleNew( link );
   for ( WatchedName* const name : known.names )
      if ( name->index == link.index )
         handleState( *name, link );
   touch( known );
   if ( listener_ )
      listener_->handleLink( link );
}

void
LinkDirectory::handleName( KnownLink& known, Link const& link ) {
   std::vector< WatchedName* > const before = std::exchange( known.names, watchedOf( link ) );
   for ( WatchedName* const name : before )
      if ( std::find( known.names.begin(), known.names.end(), name ) == known.names.end() )
         leave( *name, link.index, { name->id, LinkCondition::absent, link.name, {} } );
   // Another link that had one of these names was renamed; the message about that will come.
   for ( WatchedName* const name : known.names )
      name->index = link.index;
}

std::vector< LinkDirectory::WatchedName* >
LinkDirectory::watchedOf( Link const& link ) {
   std::vector< WatchedName* > names;
   auto const add = [ & ]( std::string_view name ) {
      if ( auto const at = watched_.find( name ); at != watched_.end() )
         names.push_back( &at->second );
   };
   add( link.name.view() );
   for ( std::string const& name : link.altNames )
      add( name );
   return names;
}

void
LinkDirectory::handleState( WatchedName& name, Link const& link ) {
   OperStatus const before = name.status ? name.status->operStatus() : OperStatus::unknown;
   name.condition = Ufdd::conditionOf( link, name.condition );
   LinkCondition const condition = effectiveCondition( name );
   OperStatus const operStatus = condition == LinkCondition::up ? OperStatus::up : OperStatus::down;
   cause_ = { name.id,
              condition,
              {},
              condition == LinkCondition::failedCheck ? name.failure : Zet::String8() };
   if ( name.status ) {
      name.status->operStatusIs( operStatus );
   } else {
      // Sets the status before the directory shows it, so that groups are evaluated only once.
      name.status = EthIntfStatus::EthIntfStatusIs( name.id );
      name.status->operStatusIs( operStatus );
      directory_->intfStatusIs( name.status );
   }
   if ( operStatus != before )
      changes_.push_back( cause_ );
   cause_ = {};
}

void
LinkDirectory::handleLinkMoved( std::uint32_t index ) {
   if ( listener_ )
      listener_->handleMoved( index );
}

void
LinkDirectory::handleLinkGone( std::uint32_t index ) {
   auto const at = links_.find( index );
   if ( at == links_.end() )
      return;
   touch( at->second );
   std::vector< WatchedName* > const names = std::move( at->second.names );
   links_.erase( at );
   ++shape_;
   for ( WatchedName* const name : names )
      leave( *name, index, { name->id, LinkCondition::absent, {}, {} } );
   if ( listener_ )
      listener_->handleGone( index );
}

void
LinkDirectory::touch( KnownLink const& known ) {
   for ( WatchedName const* const name : known.names )
      touch( name->id );
   if ( auto const master = links_.find( known.link.master ); master != links_.end() )
      for ( WatchedName const* const name : master->second.names )
         touch( name->id );
}

void
LinkDirectory::touch( Kelnet::IntfId name ) {
   if ( touched_.empty() )
      touchedAt_ = Zet::now();
   touched_.push_back( name );
}

void
LinkDirectory::leave( WatchedName& name, std::uint32_t index, LinkCause const& cause ) {
   if ( name.index != index )
      return;
   name.index = 0;
   name.status = nullptr;
   name.condition = LinkCondition::absent;
   touch( name.id );
   cause_ = cause;
   directory_->intfStatusDel( name.id );
   changes_.push_back( cause_ );
   cause_ = {};
}

} // namespace Ufdd
