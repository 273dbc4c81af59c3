#include "agent/PortHolder.h"

#include "agent/Observing.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace Ufdd {

namespace {

using Means = LinkRequest::Means;
using UplinkFailureDetection::GroupLinkStatus;

// Of an act that the kernel reported as done.
constexpr int notSeen = ESTALE;

std::string
reasonOf( int error ) {
   return error == notSeen ? "it is still as it was" : std::strerror( error );
}

Holding
holdingOf( Link const& link, LinkRequest const& request ) {
   return { link.index, link.name, link.address, request.means, request.reason };
}

// What undoes a protodown that was to no effect.
LinkRequest
takingBack( LinkRequest const& answer ) {
   return { .index = answer.index,
            .up = true,
            .means = answer.before.protoDown ? Means::onlyReason : Means::protoDown,
            .reason = answer.reason };
}

// "5, 7"
std::string
numbersOf( std::uint32_t bits ) {
   std::string text;
   for ( unsigned int number = 0; bits; ++number, bits >>= 1 )
      if ( bits & 1 )
         text += ( text.empty() ? "" : ", " ) + std::to_string( number );
   return text;
}

} // namespace

class PortHolder::CauseObserver final : public Errdisable::CauseStatus::NotifieeConst {
 public:
   explicit CauseObserver( PortHolder& holder ) : holder_( holder ) {}
   void onIntfStatus( Kelnet::IntfId port ) override { holder_.handleChange( port ); }

 private:
   PortHolder& holder_;
};

PortHolder::PortHolder( Detector& detector, LinkDirectory const& links, LinkControl& control,
                        Ownership& ownership, Log& log )
    : detector_( detector ), links_( links ), control_( control ), log_( log ),
      causeObserver_( observing< CauseObserver >( detector.cause, *this ) ),
      holdings_( ownership, log ) {}

PortHolder::~PortHolder() = default;

bool
PortHolder::isOverridden( std::uint32_t index ) const {
   auto const at = states_.find( index );
   return at != states_.end() && at->second.isOverridden;
}

void
PortHolder::handleChange( Kelnet::IntfId port ) {
   if ( isChanged_.insert( port ).second )
      changed_.push_back( port );
}

Kelnet::IntfId
PortHolder::portOf( Link const& link ) const {
   Kelnet::IntfId port;
   auto const find = [ & ]( Kelnet::IntfId name ) {
      bool const isHeld = detector_.isHeld( name );
      if ( port == Kelnet::IntfId() || ( isHeld && !detector_.isHeld( port ) ) )
         port = name;
   };
   links_.forEachName( link.index, find );
   if ( Link const* const master = links_.link( link.master ); master && master->isLag )
      links_.forEachName( master->index, find );
   // Only for links of ours, since each name that gets an id keeps it for good.
   if ( port == Kelnet::IntfId() && holdings_.contains( link.index ) )
      port = Kelnet::IntfId( link.name.view() );
   return port;
}

void
PortHolder::collectLinks( Kelnet::IntfId port ) {
   ofPort_.clear();
   Link const* const link = links_.link( port );
   if ( link && link->isLag )
      links_.collectMembers( link->index, ofPort_ );
   else if ( link )
      ofPort_.push_back( *link );
}

void
PortHolder::handleLink( Link const& link ) {
   holdings_.adopt( link );
   Holding const* const holding = holdings_.find( link.index );
   Kelnet::IntfId const port = portOf( link );
   bool const isHeld = detector_.isHeld( port );
   if ( isHeld )
      states_[ link.index ].seenOpen |= holding ? !holding->isIn( link ) : link.adminUp;
   if ( isHeld || holding )
      handleChange( port );
}

void
PortHolder::handleRenamed( std::uint32_t index, InterfaceName const& name ) {
   if ( holdings_.rename( index, name ) )
      handleChange( Kelnet::IntfId( name.view() ) );
}

void
PortHolder::handleGone( std::uint32_t index ) {
   holdings_.erase( index );
   states_.erase( index );
}

void
PortHolder::retry() {
   for ( Kelnet::IntfId const port : failed_ )
      handleChange( port );
   failed_.clear();
   holdings_.retry();
}

bool
PortHolder::owns( Kelnet::IntfId port ) {
   collectLinks( port );
   return std::any_of( ofPort_.begin(), ofPort_.end(),
                       [ this ]( Link const& link ) { return holdings_.contains( link.index ); } );
}

void
PortHolder::settle() {
   for ( Kelnet::IntfId const port : detector_.verdicts.takeChanged() )
      handleChange( port );
   if ( !changed_.empty() ) {
      restoreEntriesOfDownGroups();
      for ( Kelnet::IntfId const port : changed_ ) {
         collectLinks( port );
         for ( Link const& link : ofPort_ )
            askToShut( link, port );
      }
      for ( auto const& [ index, holding ] : holdings_ ) {
         Link const* const link = links_.link( index );
         Kelnet::IntfId const port = link ? portOf( *link ) : Kelnet::IntfId( holding.name.view() );
         if ( !detector_.isHeld( port ) )
            requests_.push_back( holding.opening( port ) );
      }
      changed_.clear();
      isChanged_.clear();
      act();
   }
   // Also where links have gone, or where it failed before.
   holdings_.remember();
}

void
PortHolder::restoreEntriesOfDownGroups() {
   // Grows while groups write entries back.
   for ( std::size_t i = 0; i < changed_.size(); ++i )
      if ( !detector_.cause->intfStatus( changed_[ i ] ) )
         detector_.checkGroupsHolding( changed_[ i ] );
}

void
PortHolder::askToShut( Link const& link, Kelnet::IntfId port ) {
   State& state = states_[ link.index ];
   bool const seenOpen = std::exchange( state.seenOpen, false );
   if ( !detector_.isHeld( port ) )
      return forgetOverrides( state );
   if ( state.isOverridden )
      return;
   Holding const* const holding = holdings_.find( link.index );
   LinkRequest request{ .index = link.index, .up = false, .port = port };
   if ( holding ) {
      request.means = holding->means;
      request.reason = holding->reason;
      // What was seen may be older than our own last act.
      request.onlyAsk =
          state.error == 0 && Zet::now() - state.reopened[ state.next ] < reopeningSeconds;
      if ( seenOpen || state.error != 0 )
         requests_.push_back( request );
   } else if ( link.adminUp ) {
      request.means = state.hasNoProtoDown ? Means::adminDown : Means::protoDown;
      request.reason = state.hasNoProtoDown ? 0 : reason_;
      requests_.push_back( request );
   } else if ( !state.leftAlone ) {
      leaveAlone( link, port );
   }
}

void
PortHolder::forgetOverrides( State& state ) {
   state.leftAlone = false;
   state.isOverridden = false;
   state.reopened = State::never();
}

void
PortHolder::leaveAlone( Link const& link, Kelnet::IntfId port ) {
   states_[ link.index ].leftAlone = true;
   log_.line( "port " + nameOf( link.index, port ) +
              " left as it is, administratively down already: " +
              detector_.groupsOf( port, GroupLinkStatus::down ) );
}

void
PortHolder::act() {
   // What is urgent first, and as the ports are counted.
   std::stable_sort(
       requests_.begin(), requests_.end(), []( LinkRequest const& left, LinkRequest const& right ) {
          return std::pair( left.up, left.index ) < std::pair( right.up, right.index );
       } );
   apply();
   fallBack();
   for ( LinkRequest& answer : requests_ )
      handleAnswer( answer );
   requests_.clear();
}

void
PortHolder::apply() {
   if ( requests_.empty() )
      return;
   rememberBefore();
   control_.apply( requests_ );
}

// Before the acts, so that whatever ends this process, the next one knows of them.
void
PortHolder::rememberBefore() {
   std::vector< Holding > aboutToBeShut;
   for ( LinkRequest const& request : requests_ )
      if ( Link const* const link = links_.link( request.index );
           link && !request.up && !request.onlyAsk && !holdings_.contains( request.index ) )
         aboutToBeShut.push_back( holdingOf( *link, request ) );
   holdings_.remember( aboutToBeShut );
}

// Those that have no protodown, or that have carrier in spite of it, are shut administratively.
void
PortHolder::fallBack() {
   auto const protoDownWorks = []( LinkRequest const& answer ) {
      if ( answer.up || answer.onlyAsk || answer.means == Means::adminDown )
         return true;
      return answer.error ? answer.error != EOPNOTSUPP && answer.error != EINVAL : answer.isSeen();
   };
   auto const first = std::stable_partition( requests_.begin(), requests_.end(), protoDownWorks );
   if ( first == requests_.end() )
      return;
   std::vector< LinkRequest > const done( requests_.begin(), first );
   requests_.erase( requests_.begin(), first );
   std::vector< LinkRequest > unshut;
   for ( LinkRequest& request : requests_ ) {
      if ( request.error == 0 )
         unshut.push_back( takingBack( request ) );
      states_[ request.index ].hasNoProtoDown = true;
      holdings_.erase( request.index );
      request = { .index = request.index, .up = false, .port = request.port };
   }
   apply();
   if ( !unshut.empty() )
      control_.apply( unshut );
   requests_.insert( requests_.end(), done.begin(), done.end() );
}

void
PortHolder::handleAnswer( LinkRequest& answer ) {
   if ( answer.error == ENODEV )
      return handleGone( answer.index );
   if ( answer.onlyAsk && !answer.error )
      return handleReopenings( answer );
   // Our bit was taken back, and the protodown is there for others.
   bool const isShared = answer.up && answer.error == EBUSY && answer.isSeen();
   if ( isShared )
      answer.error = 0;
   else if ( !answer.error && !answer.isSeen() )
      answer.error = notSeen;
   if ( answer.error )
      handleFailure( answer );
   else if ( answer.up )
      handleOpened( answer );
   else
      handleShut( answer );
}

void
PortHolder::handleShut( LinkRequest const& answer ) {
   State& state = states_[ answer.index ];
   bool const failedBefore = std::exchange( state.error, 0 ) != 0;
   bool const isNew = !holdings_.contains( answer.index );
   // If that is not known, it was as the news of it said.
   if ( answer.before.index && !answer.wasOpen() ) {
      // Shut by us already: it was seen open in news older than that.
      if ( !isNew )
         return;
      if ( answer.means == Means::adminDown )
         return leaveAlone( answer.after, answer.port );
   }
   Holding holding = holdingOf( answer.after, answer );
   if ( isNew && answer.means == Means::protoDown && answer.before.protoDown &&
        answer.before.protoDownReasons == 0 )
      holding.means = Means::onlyReason;
   if ( isNew )
      holdings_.insert( holding );
   state.leftAlone = false;
   bool const isAgain = !isNew && !failedBefore;
   if ( isAgain ) {
      state.reopened[ state.next ] = Zet::now();
      state.next = ( state.next + 1 ) % maxReopenings;
   }
   log_.event( { .id = LogEvent::portShut, .port = answer.port.name().view() },
               "port " + nameOf( answer.index, answer.port ) +
                   ( isAgain ? " shut again, someone had opened it: " : " shut: " ) +
                   detector_.groupsOf( answer.port, GroupLinkStatus::down ) );
}

void
PortHolder::handleReopenings( LinkRequest const& answer ) {
   if ( !answer.wasOpen() )
      return;
   states_[ answer.index ].isOverridden = true;
   holdings_.erase( answer.index );
   if ( answer.means != Means::adminDown && answer.before.hasProtoDownReason( answer.reason ) ) {
      LinkRequest unshut = takingBack( answer );
      control_.apply( { &unshut, 1 } );
   }
   log_.event( { .id = LogEvent::portFailure, .port = answer.port.name().view() },
               "port " + nameOf( answer.index, answer.port ) +
                   " overridden: someone opened it more than " + std::to_string( maxReopenings ) +
                   " times in a minute; it is left open until its groups are up, though " +
                   detector_.groupsOf( answer.port, GroupLinkStatus::down ) );
}

void
PortHolder::handleOpened( LinkRequest const& answer ) {
   holdings_.erase( answer.index );
   states_[ answer.index ].error = 0;
   std::string reason =
       releasing_ ? "ufdd stops" : detector_.groupsOf( answer.port, GroupLinkStatus::up );
   if ( reason.empty() )
      reason = "no group disables it";
   std::string others;
   if ( answer.means != Means::adminDown && answer.after.protoDown )
      others = answer.after.protoDownReasons
                   ? ", but others keep it in protodown, for the reasons " +
                         numbersOf( answer.after.protoDownReasons )
                   : ", but it was in protodown before";
   log_.event( { .id = LogEvent::portReleased, .port = answer.port.name().view() },
               "port " + nameOf( answer.index, answer.port ) + " released" + others + ": " +
                   reason );
}

void
PortHolder::handleFailure( LinkRequest const& answer ) {
   // It may have been shut and only the answer been lost.
   if ( !answer.up && !answer.onlyAsk && answer.wasOpen() && !holdings_.contains( answer.index ) )
      holdings_.insert( holdingOf( answer.before, answer ) );
   failed_.insert( answer.port );
   if ( std::exchange( states_[ answer.index ].error, answer.error ) == answer.error )
      return;
   log_.event( { .id = LogEvent::portFailure, .port = answer.port.name().view() },
               "port " + nameOf( answer.index, answer.port ) + " can't be " +
                   ( answer.up ? "released" : "shut" ) + ": " + reasonOf( answer.error ) + "; " +
                   remedyOf( answer ) );
}

std::string
PortHolder::remedyOf( LinkRequest const& failure ) const {
   if ( releasing_ ) {
      Link const* const link = links_.link( failure.index );
      std::string const set =
          "ip link set dev " + std::string( link ? link->name.view() : failure.port.name().view() );
      return "open it with: " +
             ( failure.means == Means::adminDown
                   ? set + " up"
                   : set + " protodown_reason " + std::to_string( failure.reason ) + " off && " +
                         set + " protodown off" );
   }
   switch ( failure.error ) {
   case EPERM:
      return "ufdd needs CAP_NET_ADMIN; will try again";
   case EBUSY:
      return "another program holds it; will try again";
   default:
      return "will try again";
   }
}

std::string
PortHolder::nameOf( std::uint32_t index, Kelnet::IntfId port ) const {
   std::string name( port.name().view() );
   Link const* const link = links_.link( index );
   bool isOwn = link && link->name.view() == name;
   links_.forEachName( index, [ & ]( Kelnet::IntfId own ) { isOwn |= own == port; } );
   if ( link && !isOwn )
      name += " (member " + std::string( link->name.view() ) + ")";
   return name;
}

bool
PortHolder::release() {
   releasing_ = true;
   failed_.clear();
   for ( auto const& [ index, holding ] : holdings_ )
      requests_.push_back( holding.opening( Kelnet::IntfId( holding.name.view() ) ) );
   act();
   holdings_.remember();
   return failed_.empty();
}

} // namespace Ufdd
