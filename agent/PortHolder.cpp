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

Kelnet::IntfId
portOf( Holding const& holding ) {
   return Kelnet::IntfId( holding.name.view() );
}

Holding
holdingOf( Link const& link ) {
   return { link.index, link.name, link.address };
}

// Of an act that the kernel reported as done.
constexpr int notSeen = ESTALE;

std::string
reasonOf( int error ) {
   return error == notSeen ? "it is still as it was" : std::strerror( error );
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
    : detector_( detector ), links_( links ), control_( control ), ownership_( ownership ),
      log_( log ), causeObserver_( observing< CauseObserver >( detector.cause, *this ) ) {}

PortHolder::~PortHolder() = default;

void
PortHolder::handleChange( Kelnet::IntfId port ) {
   Port& state = ports_[ port ];
   if ( !state.changed )
      changed_.push_back( port );
   state.changed = true;
}

void
PortHolder::handleLink( Link const& link, Kelnet::IntfId port ) {
   if ( !recalled_.empty() )
      adopt( link );
   if ( port == Kelnet::IntfId() || !detector_.isHeld( port ) )
      return;
   handleChange( port );
   ports_[ port ].seenUp |= link.adminUp;
}

void
PortHolder::handleRenamed( std::uint32_t index, InterfaceName const& name ) {
   auto const ours = shut_.find( index );
   if ( ours == shut_.end() )
      return;
   ours->second.name = name;
   handleChange( Kelnet::IntfId( name.view() ) );
}

void
PortHolder::handleGone( std::uint32_t index ) {
   shut_.erase( index );
}

void
PortHolder::beginAdoption() {
   for ( Holding const& holding : ownership_.recall() )
      recalled_.emplace( holding.index, holding );
}

void
PortHolder::endAdoption() {
   for ( auto const& [ index, holding ] : recalled_ )
      log_.line( "port " + std::string( holding.name.view() ) +
                 " was shut by ufdd before, but there is no such interface any more" );
   recalled_.clear();
   remember();
}

void
PortHolder::adopt( Link const& link ) {
   auto const node = recalled_.extract( link.index );
   if ( !node )
      return;
   Holding& holding = node.mapped();
   std::string const what =
       "port " + std::string( holding.name.view() ) + " was shut by ufdd before";
   bool const isRenamed = holding.name != link.name;
   if ( isRenamed && ( holding.address == 0 || holding.address != link.address ) )
      return log_.line( what + ", but is gone: " + std::string( link.name.view() ) +
                        " is another interface" );
   if ( link.adminUp )
      return log_.line( what + " and opened by someone else since" );
   log_.line( what +
              ( isRenamed ? ", and renamed " + std::string( link.name.view() ) + " since"
                          : std::string() ) +
              ": still held" );
   holding.name = link.name;
   shut_.emplace( link.index, holding );
   handleChange( Kelnet::IntfId( link.name.view() ) );
}

// Which costs some calls to the system, so only when there is a difference.
void
PortHolder::remember() {
   std::vector< Holding > holdings;
   for ( auto const& [ index, holding ] : shut_ )
      holdings.push_back( holding );
   for ( auto const& [ index, holding ] : recalled_ )
      holdings.push_back( holding );
   for ( LinkRequest const& request : requests_ )
      if ( Link const* const link = links_.link( request.index );
           link && !request.up && !shut_.contains( request.index ) )
         holdings.push_back( holdingOf( *link ) );
   if ( remembered_ == holdings )
      return;
   int const error = ownership_.remember( holdings );
   if ( error && error != rememberError_ )
      log_.line( "what ufdd holds can't be remembered in " + ownership_.place() + ": " +
                 std::strerror( error ) +
                 "; ports are shut all the same, but if ufdd were killed they would stay shut" );
   else if ( !error && rememberError_ )
      log_.line( "what ufdd holds is remembered in " + ownership_.place() + " again" );
   rememberError_ = error;
   if ( !error )
      remembered_ = std::move( holdings );
}

void
PortHolder::retry() {
   for ( Kelnet::IntfId const port : failed_ )
      handleChange( port );
   failed_.clear();
   retryRemembering_ = rememberError_ != 0;
}

bool
PortHolder::owns( Kelnet::IntfId port ) const {
   return std::any_of( shut_.begin(), shut_.end(),
                       [ port ]( auto const& one ) { return portOf( one.second ) == port; } );
}

void
PortHolder::settle() {
   for ( Kelnet::IntfId const port : detector_.verdicts.takeChanged() )
      handleChange( port );
   if ( changed_.empty() ) {
      if ( std::exchange( retryRemembering_, false ) )
         remember();
      return;
   }
   restoreEntriesOfDownGroups();
   for ( Kelnet::IntfId const port : changed_ )
      askToShut( port );
   for ( auto const& [ index, holding ] : shut_ )
      if ( Kelnet::IntfId const port = portOf( holding ); !detector_.isHeld( port ) )
         requests_.push_back( { .index = index, .up = true, .port = port } );
   changed_.clear();
   act();
}

void
PortHolder::restoreEntriesOfDownGroups() {
   // Grows while groups write entries back.
   for ( std::size_t i = 0; i < changed_.size(); ++i )
      if ( !detector_.cause->intfStatus( changed_[ i ] ) )
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
   Link const* const link = links_.link( port );
   if ( !link )
      return;
   bool const isOurs = shut_.contains( link->index );
   if ( isOurs ? seenUp || state.error != 0 : link->adminUp )
      requests_.push_back( { .index = link->index, .up = false, .port = port } );
   else if ( !isOurs && state.leftAlone != link->index )
      leaveAlone( state, *link );
}

void
PortHolder::leaveAlone( Port& state, Link const& link ) {
   state.leftAlone = link.index;
   log_.line( "port " + std::string( link.name.view() ) +
              " left as it is, administratively down already: " +
              detector_.groupsOf( Kelnet::IntfId( link.name.view() ), GroupLinkStatus::down ) );
}

void
PortHolder::act() {
   // What is urgent first, and as the ports are counted.
   std::sort( requests_.begin(), requests_.end(),
              []( LinkRequest const& left, LinkRequest const& right ) {
                 return std::pair( left.up, left.index ) < std::pair( right.up, right.index );
              } );
   // Before the acts, so that whatever ends this process, the next one knows of them.
   remember();
   if ( requests_.empty() )
      return;
   control_.apply( requests_ );
   for ( LinkRequest& answer : requests_ ) {
      if ( !answer.error && !answer.isSeen() )
         answer.error = notSeen;
      if ( answer.error == ENODEV )
         handleGone( answer.index );
      else if ( answer.error )
         handleFailure( answer );
      else if ( answer.up )
         handleOpened( answer );
      else
         handleShut( answer );
   }
   requests_.clear();
   remember();
}

void
PortHolder::handleShut( LinkRequest const& answer ) {
   Port& state = ports_[ answer.port ];
   bool const failedBefore = std::exchange( state.error, 0 ) != 0;
   bool const isNew = !shut_.contains( answer.index );
   if ( !answer.wasUp() ) {
      // Shut by us already: it was seen up in news older than that.
      if ( isNew )
         leaveAlone( state, answer.before );
      return;
   }
   shut_.insert_or_assign( answer.index, holdingOf( answer.before ) );
   state.leftAlone = 0;
   log_.event( { .id = LogEvent::portShut, .port = answer.port.name().view() },
               "port " + nameOf( answer.port ) +
                   ( isNew || failedBefore ? " shut: " : " shut again, someone had opened it: " ) +
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
   log_.event( { .id = LogEvent::portReleased, .port = answer.port.name().view() },
               "port " + nameOf( answer.port ) + " released: " + reason );
}

void
PortHolder::handleFailure( LinkRequest const& answer ) {
   // It may have been shut and only the answer been lost.
   if ( !answer.up && answer.wasUp() )
      shut_.insert_or_assign( answer.index, holdingOf( answer.before ) );
   failed_.insert( answer.port );
   if ( std::exchange( ports_[ answer.port ].error, answer.error ) == answer.error )
      return;
   log_.event( { .id = LogEvent::portFailure, .port = answer.port.name().view() },
               "port " + nameOf( answer.port ) + " can't be " +
                   ( answer.up ? "released" : "shut" ) + ": " + reasonOf( answer.error ) + "; " +
                   remedyOf( answer ) );
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
   for ( auto const& [ index, holding ] : shut_ )
      requests_.push_back( { .index = index, .up = true, .port = portOf( holding ) } );
   act();
   return failed_.empty();
}

} // namespace Ufdd
