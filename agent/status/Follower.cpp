#include "agent/status/Follower.h"

#include "agent/base/Never.h"
#include "agent/base/PollUntil.h"
#include "agent/base/Printable.h"
#include "platform/zet/Clock.h"

#include <iostream>
#include <utility>

namespace Ufdd {

void
Follower::begin() {
   handle();
   for ( double const end = Zet::now() + pause; session_ && !roots() && Zet::now() < end;
         handle() ) {
      pollfd watched{ .fd = fd(), .events = POLLIN, .revents = 0 };
      pollUntil( { &watched, 1 }, end );
   }
}

bool
Follower::handle() {
   return session_ ? receive() : Zet::now() >= connectAt_ && connect();
}

double
Follower::nextTime() const {
   return session_ ? never : connectAt_;
}

StatusRoots const*
Follower::roots() const {
   return session_ && session_->replica.isInStep() ? &session_->replica.roots() : nullptr;
}

// Begins with an empty replica. What a former ufdd sent says nothing about this one.
bool
Follower::connect() {
   session_ = std::make_unique< Session >( socket_, program_ );
   auto const hindrance = session_->stream.connect();
   return hindrance && lose( *hindrance );
}

bool
Follower::receive() {
   try {
      switch ( session_->stream.receive( 0 ) ) {
      case StatusStream::Received::nothing:
         return false;
      case StatusStream::Received::end:
         return lose( "ufdd at " + socket_ + " closed the connection" );
      case StatusStream::Received::bytes:
         break;
      }
   } catch ( std::runtime_error const& failure ) {
      return lose( failure.what() );
   }
   if ( roots() )
      told_.clear();
   return roots() != nullptr;
}

bool
Follower::lose( std::string const& reason ) {
   session_.reset();
   connectAt_ = Zet::now() + pause;
   if ( std::exchange( told_, reason ) != reason )
      std::cerr << program_ << ": " << printable( reason ) << "; trying again every second"
                << std::endl;
   return true;
}

} // namespace Ufdd
