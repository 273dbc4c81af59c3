#include "agent/ports/PortActs.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace Ufdd {

namespace {

using Means = LinkRequest::Means;

// Returns the record of a link that `request` shuts and that was in the state `before`.
OwnedLink
ownedLinkOf( Link const& before, LinkRequest const& request ) {
   bool const isOthers = before.protoDown && before.protoDownReasons == 0;
   Means const means =
       request.means == Means::protoDown && isOthers ? Means::onlyReason : request.means;
   return { before.index, before.name, before.address, means, request.reason };
}

// Returns the record of a link that was just shut.
OwnedLink
newOwnedLink( LinkRequest const& answer ) {
   return ownedLinkOf( answer.before.index ? answer.before : answer.after, answer );
}

} // namespace

void
PortActs::queueShut( Link const& link, Kelnet::IntfId port, unsigned int reason, bool isOrdered ) {
   State& state = states_[ link.index ];
   if ( owned_.isOverridden( link.index ) || hasFailed( link.index, false ) )
      return;
   OwnedLink const* const owned = owned_.find( link.index );
   LinkRequest request{ .index = link.index, .up = false, .port = port, .before = link };
   if ( owned ) {
      request.means = owned->means;
      request.reason = owned->reason;
      // Shut again as often as allowed: queries first, and overrides the link if it is really open.
      // The message may be older than our last act.
      request.onlyQuery = !isOrdered && state.error == 0 &&
                          Zet::now() - state.reopened[ state.next ] < reopeningSeconds;
      if ( !owned->isShut( link ) || state.error != 0 )
         requests_.push_back( request );
   } else if ( link.adminUp ) {
      request.means = state.hasNoProtoDown ? Means::adminDown : Means::protoDown;
      request.reason = state.hasNoProtoDown ? 0 : reason;
      requests_.push_back( request );
   } else if ( !state.foundDown ) {
      noteFoundDown( request );
   }
}

void
PortActs::queueOpen( OwnedLink const& owned, Kelnet::IntfId port ) {
   if ( !hasFailed( owned.index, true ) )
      requests_.push_back( owned.opening( port ) );
}

void
PortActs::disownIfOpen( OwnedLink const& owned ) {
   LinkRequest query{ .index = owned.index, .onlyQuery = true };
   control_.apply( { &query, 1 } );
   if ( query.before.index && !owned.isApplied( query.before ) )
      owned_.erase( owned.index );
}

void
PortActs::noteLeftOpen( Link const& link, Kelnet::IntfId port, PortResult::Kind why ) {
   // If the link is ours, it is to be opened, and the failure may be that of the opening.
   if ( !owned_.contains( link.index ) )
      forgetFailure( link.index );
   if ( std::exchange( states_[ link.index ].leftOpen, why ) != why )
      add( why, { .index = link.index, .port = port } );
}

void
PortActs::forgetFailure( std::uint32_t index ) {
   states_[ index ].error = 0;
   failed_.erase( index );
}

bool
PortActs::hasFailed( std::uint32_t index, bool up ) const {
   auto const at = failed_.find( index );
   return at != failed_.end() && at->second == up;
}

bool
PortActs::hasFailed( std::uint32_t index ) const {
   auto const at = states_.find( index );
   return at != states_.end() && at->second.error != 0;
}

bool
PortActs::wasFoundDown( std::uint32_t index ) const {
   auto const at = states_.find( index );
   return at != states_.end() && at->second.foundDown;
}

void
PortActs::handleGone( std::uint32_t index ) {
   owned_.erase( index );
   owned_.eraseOverride( index );
   states_.erase( index );
   failed_.erase( index );
}

void
PortActs::forgetNotes( std::uint32_t index ) {
   State& state = states_[ index ];
   state.foundDown = false;
   state.leftOpen.reset();
   state.reopened = State::never();
}

void
PortActs::noteFoundDown( LinkRequest const& request ) {
   states_[ request.index ].foundDown = true;
   add( PortResult::Kind::foundDown, request );
}

void
PortActs::add( PortResult::Kind kind, LinkRequest const& answer ) {
   results_.push_back( { kind, answer } );
}

void
PortActs::act() {
   // Links to be shut come first, then in the order of their indexes. Sorting allocates memory even
   // for one request, so sorted requests are not sorted.
   auto const isBefore = []( LinkRequest const& left, LinkRequest const& right ) {
      return std::pair( left.up, left.index ) < std::pair( right.up, right.index );
   };
   if ( !std::is_sorted( requests_.begin(), requests_.end(), isBefore ) )
      std::stable_sort( requests_.begin(), requests_.end(), isBefore );
   apply();
   Requests otherwise = fallBack();
   handleAnswers();
   if ( otherwise.empty() )
      return;
   // The record must have one entry for each link. Those for protodown go before the next are
   // added.
   owned_.remember();
   requests_ = std::move( otherwise );
   apply();
   handleAnswers();
}

void
PortActs::handleAnswers() {
   for ( LinkRequest& answer : requests_ )
      handleAnswer( answer );
   requests_.clear();
}

void
PortActs::apply() {
   if ( requests_.empty() )
      return;
   rememberBefore();
   auto const openings = std::find_if( requests_.begin(), requests_.end(),
                                       []( LinkRequest const& request ) { return request.up; } );
   control_.apply( { requests_.begin(), openings } );
   control_.apply( { openings, setAside( openings ) } );
}

// Queries each link before it is opened. A message that the index belongs to another link now, or
// that others have opened and shut the link, may still be waiting.
PortActs::Requests::iterator
PortActs::setAside( Requests::iterator openings ) {
   Requests queries( openings, requests_.end() );
   for ( LinkRequest& query : queries )
      query.onlyQuery = true;
   control_.apply( queries );
   auto request = openings;
   for ( LinkRequest const& query : queries ) {
      Link const& link = query.before;
      OwnedLink const* const owned = owned_.find( link.index );
      if ( owned && link.isOtherThan( owned->address ) )
         request->error = PortResult::otherHardware;
      else if ( owned && !owned->isApplied( link ) )
         request->after = link;
      ++request;
   }
   return std::stable_partition( openings, requests_.end(), []( LinkRequest const& asked ) {
      return !asked.error && !asked.after.index;
   } );
}

// Records links before they are shut, so that the next process knows them whatever ends this one.
void
PortActs::rememberBefore() {
   std::vector< OwnedLink > aboutToBeShut;
   for ( LinkRequest const& request : requests_ )
      if ( Link const* const link = links_.link( request.index );
           link && !request.up && !request.onlyQuery && !owned_.contains( request.index ) )
         aboutToBeShut.push_back( ownedLinkOf( *link, request ) );
   owned_.rememberBefore( aboutToBeShut );
}

PortActs::Requests
PortActs::fallBack() {
   auto const protoDownWorks = []( LinkRequest const& answer ) {
      if ( answer.up || answer.means == Means::adminDown )
         return true;
      if ( answer.error )
         return answer.error != EOPNOTSUPP && answer.error != EINVAL;
      // Protodown may stop working later. A link that slips was not opened by others.
      return !answer.isSlip( answer.before ) && ( answer.onlyQuery || answer.isSeen() );
   };
   auto const first = std::stable_partition( requests_.begin(), requests_.end(), protoDownWorks );
   Requests otherwise( first, requests_.end() );
   requests_.erase( first, requests_.end() );
   std::erase_if( otherwise, [ this ]( LinkRequest& request ) {
      bool const isStuck = request.error == 0 && !undo( request );
      if ( isStuck ) {
         request.error = PortResult::notSeen;
         requests_.push_back( request );
      }
      return isStuck;
   } );
   for ( LinkRequest& request : otherwise ) {
      states_[ request.index ].hasNoProtoDown = true;
      owned_.erase( request.index );
      request = {
         .index = request.index, .up = false, .port = request.port, .before = request.before
      };
   }
   return otherwise;
}

// Takes back a protodown without effect before the link is shut by other means. Otherwise, if this
// process ended, a protodown would be left that no record shows.
bool
PortActs::undo( LinkRequest const& slipped ) {
   OwnedLink const* const owned = owned_.find( slipped.index );
   LinkRequest opening = ( owned ? *owned : newOwnedLink( slipped ) ).opening( slipped.port );
   control_.apply( { &opening, 1 } );
   return opening.isSeen();
}

void
PortActs::handleAnswer( LinkRequest& answer ) {
   // The link is gone. A driver may also answer ENODEV for a link that exists.
   if ( answer.error == ENODEV && !answer.after.index ) {
      if ( !answer.up )
         add( PortResult::Kind::failed, answer );
      return handleGone( answer.index );
   }
   if ( answer.onlyQuery && !answer.error )
      return overrideIfOpen( answer );
   // The act is done in spite of the error: others keep protodown set, or have opened the link.
   if ( answer.up && answer.isSeen() )
      answer.error = 0;
   else if ( !answer.error && !answer.isSeen() )
      answer.error = PortResult::notSeen;
   if ( answer.error )
      handleFailure( answer );
   else if ( answer.up )
      handleOpened( answer );
   else
      handleShut( answer );
}

void
PortActs::handleShut( LinkRequest const& answer ) {
   State& state = states_[ answer.index ];
   bool const failedBefore = std::exchange( state.error, 0 ) != 0;
   failed_.erase( answer.index );
   bool const isNew = !owned_.contains( answer.index );
   // If the state before the act is unknown, the last message about the link counts.
   if ( answer.before.index && !answer.wasOpen() ) {
      // We had shut the link already. The message that showed it open was older.
      if ( !isNew )
         return;
      if ( answer.means == Means::adminDown )
         return noteFoundDown( answer );
   }
   if ( isNew )
      owned_.insert( newOwnedLink( answer ) );
   state.foundDown = false;
   state.leftOpen.reset();
   if ( isNew || failedBefore )
      return add( PortResult::Kind::shut, answer );
   state.reopened[ state.next ] = Zet::now();
   state.next = ( state.next + 1 ) % maxReopenings;
   add( PortResult::Kind::shutAgain, answer );
}

void
PortActs::overrideIfOpen( LinkRequest const& answer ) {
   if ( !answer.wasOpen() )
      return;
   owned_.insertOverride( newOwnedLink( answer ) );
   // Protodown may still be set without effect. If it can't be taken back, the link stays ours.
   if ( answer.means == Means::adminDown || !answer.before.hasProtoDownReason( answer.reason ) ||
        undo( answer ) )
      owned_.erase( answer.index );
   add( PortResult::Kind::overridden, answer );
}

void
PortActs::handleOpened( LinkRequest const& answer ) {
   owned_.erase( answer.index );
   states_[ answer.index ].error = 0;
   failed_.erase( answer.index );
   add( owned_.isOverridden( answer.index ) ? PortResult::Kind::openedAnyway
                                            : PortResult::Kind::opened,
        answer );
}

void
PortActs::handleFailure( LinkRequest const& answer ) {
   // The link may have been shut although the answer was lost: then it is ours.
   Link const* const before = answer.before.index ? &answer.before : links_.link( answer.index );
   if ( before && !answer.up && !answer.onlyQuery ) {
      OwnedLink const owned = ownedLinkOf( *before, answer );
      if ( answer.after.index && !owned.isApplied( answer.after ) )
         owned_.erase( answer.index );
      else if ( !owned_.contains( answer.index ) && !owned.isShut( *before ) )
         owned_.insert( owned );
   }
   failed_.insert_or_assign( answer.index, answer.up );
   if ( std::exchange( states_[ answer.index ].error, answer.error ) != answer.error )
      add( PortResult::Kind::failed, answer );
}

bool
PortActs::openAll() {
   failed_.clear();
   for ( auto const& [ index, owned ] : owned_ )
      queueOpen( owned, Kelnet::IntfId( owned.name.view() ) );
   act();
   return failed_.empty();
}

} // namespace Ufdd
