#include "agent/PortHolder.h"

#include "agent/Observing.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace Ufdd {

namespace {

using UplinkFailureDetection::GroupLinkStatus;

std::string
nameOf( Kelnet::IntfId port ) {
   return std::string( port.name().view() );
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
                        Log& log )
    : detector_( detector ), links_( links ), control_( control ), log_( log ),
      causeObserver_( observing< CauseObserver >( detector.cause, *this ) ) {}

PortHolder::~PortHolder() = default;

void
PortHolder::handleChange( Kelnet::IntfId port ) {
   Port& state = ports_[ port ];
   if ( !state.changed )
      changed_.push_back( port );
   state.changed = true;
}

void
PortHolder::handlePort( Kelnet::IntfId port, bool adminUp ) {
   if ( !detector_.isHeld( port ) )
      return;
   handleChange( port );
   ports_[ port ].seenUp |= adminUp;
}

void
PortHolder::handleRenamed( std::uint32_t index, InterfaceName const& name ) {
   auto const ours = shut_.find( index );
   if ( ours == shut_.end() )
      return;
   ours->second = Kelnet::IntfId( name.view() );
   handleChange( ours->second );
}

void
PortHolder::handleGone( std::uint32_t index ) {
   shut_.erase( index );
}

void
PortHolder::retry() {
   for ( Kelnet::IntfId const port : failed_ )
      handleChange( port );
   failed_.clear();
}

void
PortHolder::settle() {
   if ( changed_.empty() )
      return;
   restoreEntriesOfDownGroups();
   for ( Kelnet::IntfId const port : changed_ )
      askToShut( port );
   for ( auto const& [ index, port ] : shut_ )
      if ( !detector_.isHeld( port ) )
         requests_.push_back( { .index = index, .up = true, .port = port } );
   changed_.clear();
   act();
}

void
PortHolder::restoreEntriesOfDownGroups() {
   // Grows while groups write entries back.
   for ( std::size_t i = 0; i < changed_.size(); ++i )
      if ( !detector_.isHeld( changed_[ i ] ) )
         detector_.checkGroupsHolding( changed_[ i ] );
}

void
PortHolder::askToShut( Kelnet::IntfId port ) {
   Port& state = ports_[ port ];
   bool const seenUp = std::exchange( state.seenUp, false );
   state.changed = false;
   if ( !detector_.isHeld( port ) ) {
      state.leftAlone = 0;
      return;
   }
   std::uint32_t const index = links_.index( port );
   bool const isShut = state.leftAlone == index || ( shut_.contains( index ) && state.error == 0 );
   if ( index != 0 && ( seenUp || !isShut ) )
      requests_.push_back( { .index = index, .up = false, .port = port } );
}

void
PortHolder::act() {
   if ( requests_.empty() )
      return;
   // What is urgent first, and as the ports are counted.
   std::sort( requests_.begin(), requests_.end(),
              []( LinkRequest const& left, LinkRequest const& right ) {
                 return std::pair( left.up, left.index ) < std::pair( right.up, right.index );
              } );
   control_.apply( requests_ );
   for ( LinkRequest const& answer : requests_ )
      if ( answer.error == ENODEV )
         handleGone( answer.index );
      else if ( answer.error )
         handleFailure( answer );
      else if ( answer.up )
         handleOpened( answer );
      else
         handleShut( answer );
   requests_.clear();
}

void
PortHolder::handleShut( LinkRequest const& answer ) {
   Port& state = ports_[ answer.port ];
   bool const failedBefore = std::exchange( state.error, 0 ) != 0;
   bool const isNew = answer.wasUp && shut_.insert_or_assign( answer.index, answer.port ).second;
   // Shut by us already: it was seen up in news older than that.
   if ( !answer.wasUp && shut_.contains( answer.index ) )
      return;
   state.leftAlone = answer.wasUp ? 0 : answer.index;
   log_.line( "port " + nameOf( answer.port ) +
              ( !answer.wasUp           ? " left as it is, administratively down already: "
                : isNew || failedBefore ? " shut: "
                                        : " shut again, someone had opened it: " ) +
              detector_.groupsOf( answer.port, GroupLinkStatus::down ) );
}

void
PortHolder::handleOpened( LinkRequest const& answer ) {
   shut_.erase( answer.index );
   ports_[ answer.port ].error = 0;
   std::string reason =
       releasing_ ? "ufdd stops" : detector_.groupsOf( answer.port, GroupLinkStatus::up );
   if ( reason.empty() )
      reason = "no group disables it";
   log_.line( "port " + nameOf( answer.port ) + " released: " + reason );
}

void
PortHolder::handleFailure( LinkRequest const& answer ) {
   // It may have been shut and only the answer been lost.
   if ( !answer.up && answer.wasUp )
      shut_.insert_or_assign( answer.index, answer.port );
   failed_.insert( answer.port );
   if ( std::exchange( ports_[ answer.port ].error, answer.error ) == answer.error )
      return;
   log_.line( "port " + nameOf( answer.port ) + " can't be " + ( answer.up ? "released" : "shut" ) +
              ": " + std::strerror( answer.error ) + "; " + remedyOf( answer ) );
}

std::string
PortHolder::remedyOf( LinkRequest const& failure ) const {
   if ( releasing_ )
      return "open it with: ip link set dev " + nameOf( failure.port ) + " up";
   switch ( failure.error ) {
   case EPERM:
      return "ufdd needs CAP_NET_ADMIN; will try again";
   case EBUSY:
      return "another program holds it; will try again";
   default:
      return "will try again";
   }
}

bool
PortHolder::release() {
   releasing_ = true;
   failed_.clear();
   for ( auto const& [ index, port ] : shut_ )
      requests_.push_back( { .index = index, .up = true, .port = port } );
   act();
   return failed_.empty();
}

} // namespace Ufdd
