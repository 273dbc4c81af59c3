#include "tests/agent/SimulatedKernel.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace Ufdd {

namespace {

constexpr std::uint32_t ownNumber = 4711;
// In seconds: how long after a change the kernel sends a message that is not delayed.
constexpr double soon = 0.0005;
constexpr std::size_t linksPerPart = 4;

} // namespace

SimulatedLink*
SimulatedKernel::find( std::uint32_t index ) {
   auto const at = std::find_if( links_.begin(), links_.end(),
                                 [ & ]( auto const& l ) { return l.second.index == index; } );
   return at == links_.end() ? nullptr : &at->second;
}

void
SimulatedKernel::start( LinkListener& listener ) {
   queue_.clear();
   isLossy_ = isStarted_ = losesQuestion_ = false;
   dump_.reset();
   feed_.emplace( listener, ownNumber );
   deliver();
   isStarted_ = true;
}

std::optional< bool >
SimulatedKernel::carrier( InterfaceName const& name ) {
   ++driverQueries;
   auto const at = links_.find( std::string( name.view() ) );
   if ( at == links_.end() || at->second.hidesCarrier )
      return std::nullopt;
   if ( at->second.toldAt != never )
      at->second.toldAt = std::min( at->second.toldAt, Zet::now() + soon );
   return at->second.carrier;
}

bool
SimulatedKernel::query( std::span< std::uint32_t const > indexes ) {
   linkQueries += static_cast< unsigned int >( indexes.size() );
   for ( std::uint32_t const index : indexes )
      if ( SimulatedLink* const link = find( index ); link && !isDeaf ) {
         tellCarrier( *link );
         LinkDatagram answer;
         answer.link( RTM_NEWLINK, 0, ++sequence_, *link ).last()->nlmsg_pid = ownNumber;
         receive( answer );
      }
   deliver();
   return feed_->hasMessages();
}

void
SimulatedKernel::receive( LinkDatagram const& datagram ) {
   if ( queue_.size() < room )
      queue_.push_back( datagram.bytes );
   else
      isLossy_ = true;
}

void
SimulatedKernel::overrun( bool losesQuestion ) {
   queue_.clear();
   isLossy_ = true;
   losesQuestion_ |= losesQuestion && isStarted_;
}

bool
SimulatedKernel::recover() {
   if ( !feed_->complete() )
      deliver();
   if ( feed_->takeOverdueDump() )
      deliver();
   return feed_->complete();
}

void
SimulatedKernel::deliver() {
   for ( ;; ) {
      if ( std::exchange( isLossy_, false ) ) {
         losses += feed_->complete();
         feed_->handleTrouble( "messages were lost" );
         feed_->handleLoss();
      } else if ( !queue_.empty() ) {
         auto const datagram = std::move( queue_.front() );
         queue_.pop_front();
         feed_->handleDatagram( 0, datagram );
      } else if ( dump_ ) {
         dumpPart();
      } else if ( feed_->dumpWanted() ) {
         feed_->handleDumpAsked( ++sequence_ );
         if ( !std::exchange( losesQuestion_, false ) )
            dump_ = Dump{ sequence_, generation_ };
      } else {
         return;
      }
   }
}

// Sends the next part of a dump. Messages may come between the parts.
void
SimulatedKernel::dumpPart() {
   meanwhile();
   auto const flags = static_cast< std::uint16_t >(
       dump_->generation == generation_ ? NLM_F_MULTI : NLM_F_MULTI | NLM_F_DUMP_INTR );
   std::vector< SimulatedLink const* > links;
   for ( auto const& [ name, link ] : links_ )
      links.push_back( &link );
   std::sort( links.begin(), links.end(),
              []( auto const* left, auto const* right ) { return left->index < right->index; } );
   LinkDatagram part;
   std::size_t const end = std::min( dump_->listed + linksPerPart, links.size() );
   for ( ; dump_->listed < end; ++dump_->listed )
      part.link( RTM_NEWLINK, flags, dump_->sequence, *links[ dump_->listed ] ).last()->nlmsg_pid =
          ownNumber;
   bool const isEnd = part.bytes.empty();
   if ( isEnd )
      part.done( dump_->sequence, flags );
   queue_.push_back( part.bytes );
   if ( isEnd )
      dump_.reset();
}

void
SimulatedKernel::apply( std::span< LinkRequest > requests ) {
   for ( LinkRequest& request : requests ) {
      meanwhile();
      answer( request );
   }
}

void
SimulatedKernel::answer( LinkRequest& request ) {
   SimulatedLink* const link = find( request.index );
   if ( !link ) {
      request.error = ENODEV;
      return;
   }
   bool const isAdmin = request.means == LinkRequest::Means::adminDown;
   bool const glances = isAdmin && !request.up && request.before.name == link->name;
   if ( glances && !request.onlyQuery )
      request.before.adminUp = link->adminUp;
   else
      request.before = *link;
   request.after = *link;
   if ( request.onlyQuery )
      return;
   request.error = isAdmin || link->hasProtoDown ? link->refusal : EOPNOTSUPP;
   // These two refusals stand for an act that was done, but whose answer was lost.
   bool const isLost = request.error == ENOBUFS || request.error == ETIMEDOUT;
   if ( request.error && !isLost )
      return;
   act( *link, request );
   request.after = isLost ? Link() : *link;
   if ( request.error == ETIMEDOUT && !glances )
      request.before = Link();
}

void
SimulatedKernel::act( SimulatedLink& link, LinkRequest& request ) {
   std::string const name( link.name.view() );
   bool const isAdmin = request.means == LinkRequest::Means::adminDown;
   acts += std::string( isAdmin ? "" : " protodown" ) + ( request.up ? " +" : " -" ) + name;
   bool const adminUp = isAdmin ? request.up : link.adminUp;
   bool protoDown = link.protoDown;
   if ( !isAdmin ) {
      link.slips &= !link.slipsOnce;
      std::uint32_t const bit = 1u << request.reason;
      link.protoDownReasons =
          request.up ? link.protoDownReasons & ~bit : link.protoDownReasons | bit;
      bool const isForProtoDown = request.means == LinkRequest::Means::protoDown;
      if ( request.up && link.protoDownReasons && isForProtoDown )
         request.error = EBUSY;
      else if ( isForProtoDown || !request.up )
         protoDown = !request.up;
   }
   bool const opensOthers = ( adminUp && !link.adminUp && !link.ours && !link.isUnclear ) ||
                            ( !protoDown && link.protoDown && !link.oursByPd && !link.isUnclear );
   if ( opensOthers )
      violations += name + " was opened, but not shut by ufdd; ";
   link.ours = !adminUp && ( link.ours || link.adminUp );
   link.oursByPd = protoDown && ( link.oursByPd || !link.protoDown );
   link.isUnclear &= !adminUp;
   link.protoDown = protoDown;
   if ( std::exchange( link.adminUp, adminUp ) != adminUp )
      handleAdmin( link );
   carriersFollow( link );
   tell( link );
}

// Updates the carrier of the link and of its LAG. The message about a lost carrier waits for
// quietUntil_; other messages come soon.
void
SimulatedKernel::carriersFollow( SimulatedLink& link ) {
   bool carrier = link.cable;
   if ( link.isLag )
      carrier = std::any_of( links_.begin(), links_.end(), [ & ]( auto const& l ) {
         return l.second.master == link.index && l.second.carrier;
      } );
   carrier = carrier && link.adminUp && ( !link.protoDown || link.slips );
   double const now = Zet::now();
   if ( std::exchange( link.carrier, carrier ) != carrier )
      link.toldAt = carrier || link.isLag ? now + soon : std::max( now + soon, quietUntil_ );
   note( link );
   if ( lossInterval == 0 )
      tellCarrier( link );
   if ( SimulatedLink* const lag = find( link.master ) )
      carriersFollow( *lag );
}

void
SimulatedKernel::note( SimulatedLink const& link ) {
   std::vector< std::string > names = link.altNames;
   names.emplace_back( link.name.view() );
   existed.insert( names.begin(), names.end() );
   if ( link.carrier )
      wereUp.insert( names.begin(), names.end() );
}

void
SimulatedKernel::tellCarrier( SimulatedLink& link ) {
   if ( std::exchange( link.toldAt, never ) == never )
      return;
   if ( lossInterval != 0 )
      link.operState = static_cast< std::uint8_t >( !link.carrier    ? IF_OPER_LOWERLAYERDOWN
                                                    : link.isDormant ? IF_OPER_DORMANT
                                                                     : IF_OPER_UP );
   tell( link );
}

void
SimulatedKernel::handleTime() {
   for ( auto& [ name, link ] : links_ )
      if ( link.toldAt <= Zet::now() ) {
         if ( !link.isLag && !link.carrier )
            quietUntil_ = Zet::now() + lossInterval;
         tellCarrier( link );
      }
}

double
SimulatedKernel::nextTime() const {
   double time = never;
   for ( auto const& [ name, link ] : links_ )
      time = std::min( time, link.toldAt );
   return time;
}

void
SimulatedKernel::tell( SimulatedLink& link, std::uint16_t type ) {
   note( link );
   receive( LinkDatagram().link( type, 0, 0, link ) );
}

void
SimulatedKernel::add( std::string const& name, bool adminUp ) {
   SimulatedLink& link = links_[ name ];
   link.index = nextIndex++;
   link.name = InterfaceName( name );
   link.address = nextAddress_++;
   link.hasPermanentAddress = true;
   link.adminUp = adminUp;
   link.carrier = adminUp;
   ++generation_;
   tell( link );
}

void
SimulatedKernel::remove( std::string const& name ) {
   tell( links_.at( name ), RTM_DELLINK );
   std::uint32_t const master = links_.at( name ).master;
   std::uint32_t const index = links_.at( name ).index;
   links_.erase( name );
   ++generation_;
   if ( SimulatedLink* const lag = find( master ) )
      carriersFollow( *lag );
   for ( auto& [ other, link ] : links_ )
      if ( link.master == index ) {
         link.master = 0;
         tell( link );
      }
}

void
SimulatedKernel::rename( std::string const& from, std::string const& to ) {
   SimulatedLink link = links_.extract( from ).mapped();
   link.name = InterfaceName( to );
   tell( links_[ to ] = link );
}

void
SimulatedKernel::update( std::string const& name ) {
   carriersFollow( links_.at( name ) );
   tell( links_.at( name ) );
}

void
SimulatedKernel::set( std::string const& name, bool adminUp ) {
   SimulatedLink& link = links_.at( name );
   if ( adminUp && !link.adminUp )
      link.openings.push_back( Zet::now() );
   bool const isChanged = std::exchange( link.adminUp, adminUp ) != adminUp;
   link.ours &= !adminUp;
   link.isUnclear &= !adminUp;
   if ( isChanged )
      handleAdmin( link );
   update( name );
}

void
SimulatedKernel::carrier( std::string const& name, bool carrier ) {
   links_.at( name ).cable = carrier;
   carriersFollow( links_.at( name ) );
}

void
SimulatedKernel::operState( std::string const& name, std::uint8_t operState ) {
   links_.at( name ).operState = operState;
   tell( links_.at( name ) );
}

void
SimulatedKernel::protoDown( std::string const& name, bool on, std::uint32_t reasons ) {
   SimulatedLink& link = links_.at( name );
   if ( link.protoDown && !on )
      link.openings.push_back( Zet::now() );
   link.oursByPd &= on;
   link.protoDown = on;
   link.protoDownReasons = reasons;
   update( name );
}

void
SimulatedKernel::join( std::string const& name, std::string const& lag ) {
   SimulatedLink& link = links_.at( name );
   SimulatedLink* const before = find( link.master );
   link.master = lag.empty() ? 0 : links_.at( lag ).index;
   if ( !lag.empty() )
      links_.at( lag ).isLag = true;
   if ( before )
      carriersFollow( *before );
   update( name );
}

} // namespace Ufdd
