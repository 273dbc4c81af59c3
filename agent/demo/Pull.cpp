// Sets an interface up or down, like a neighbour that plugs or pulls a cable, and measures how long
// other interfaces, the followers, take to gain or lose their carrier.

#include "agent/base/CommandLine.h"
#include "agent/base/EventLoop.h"
#include "agent/kernel/LinkSource.h"
#include "agent/kernel/NetlinkLinkControl.h"
#include "agent/kernel/NetlinkLinkSource.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <net/if.h>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Task {
   std::string interface;
   bool up = false;
   std::vector< std::string > followers;
   bool still = false; // The followers must keep their carrier as it is.
   int milliseconds = 1000;
};

class Pull final : public Ufdd::LinkListener {
 public:
   explicit Pull( Task const& task ) : task_( task ), source_( loop_ ) {
      for ( std::string const& name : task.followers )
         followers_.push_back( { Ufdd::InterfaceName( name ), false, {} } );
   }

   // Returns true if the followers reacted as they had to.
   bool run();
   void print() const;

   void handleLinks( std::span< Ufdd::Link const > links ) override {
      for ( Ufdd::Link const& link : links )
         handleLink( link );
   }
   void handleLink( Ufdd::Link const& link ) override;
   void handleLinkGone( std::uint32_t ) override {}

 private:
   struct Follower {
      Ufdd::InterfaceName name;
      bool carrier;
      Clock::time_point changed;
   };

   bool haveFollowed() const {
      return std::all_of( followers_.begin(), followers_.end(), [ this ]( Follower const& f ) {
         return f.changed > begin_ && f.carrier == task_.up;
      } );
   }
   bool haveMoved() const {
      return std::any_of( followers_.begin(), followers_.end(),
                          [ this ]( Follower const& f ) { return f.changed > begin_; } );
   }
   void handleTimeout() { loop_.exit(); }

   Task const& task_;
   std::vector< Follower > followers_;
   Clock::time_point begin_;
   Ufdd::EventLoop loop_;
   Ufdd::NetlinkLinkSource source_;
   Ufdd::NetlinkLinkControl control_;
};

void
Pull::handleLink( Ufdd::Link const& link ) {
   for ( Follower& follower : followers_ )
      if ( follower.name == link.name && follower.carrier != link.carrier ) {
         follower.carrier = link.carrier;
         follower.changed = Clock::now();
      }
   if ( begin_ != Clock::time_point() && ( task_.still ? haveMoved() : haveFollowed() ) )
      loop_.exit();
}

bool
Pull::run() {
   source_.start( *this );
   loop_.timer< &Pull::handleTimeout >( *this ).fireAt( Zet::now() + task_.milliseconds / 1e3 );
   Ufdd::LinkRequest request{ .index = if_nametoindex( task_.interface.c_str() ), .up = task_.up };
   begin_ = Clock::now();
   control_.apply( { &request, 1 } );
   if ( request.error ) {
      std::fprintf( stderr, "ufd-pull: can't set %s: %s\n", task_.interface.c_str(),
                    std::strerror( request.error ) );
      return false;
   }
   loop_.run();
   return task_.still ? !haveMoved() : haveFollowed();
}

void
Pull::print() const {
   Clock::time_point last = begin_;
   for ( Follower const& follower : followers_ )
      last = std::max( last, follower.changed );
   std::printf( "%.2f\n", std::chrono::duration< double, std::milli >( last - begin_ ).count() );
}

} // namespace

int
main( int argc, char** argv ) {
   Task task;
   bool down = false;
   Ufdd::CommandLine line( "ufd-pull", UFDD_VERSION,
                           "Sets an interface up or down and prints the milliseconds until the "
                           "last of its followers had gained or lost its carrier." );
   line.argument( "INTERFACE", task.interface, "The interface to set" );
   line.flag( "--up", task.up, "Set it up" );
   line.flag( "--down", down, "Set it down" );
   line.option( "--followers", "INTERFACE", task.followers,
                "The interfaces whose carrier must follow" );
   line.flag( "--still", task.still, "The followers must keep their carrier all the time" );
   line.option( "--within", "MILLISECONDS", task.milliseconds, 1000000,
                "The time to wait for the followers" );
   if ( auto const status = line.parse( argc, argv ) )
      return *status;
   if ( task.interface.empty() || task.followers.empty() || task.up == down )
      return line.refuse( "an interface, --followers, and either --up or --down are needed" );
   try {
      Pull pull( task );
      bool const ok = pull.run();
      if ( ok && !task.still )
         pull.print();
      return ok ? EXIT_SUCCESS : EXIT_FAILURE;
   } catch ( std::exception const& error ) {
      std::fprintf( stderr, "ufd-pull: %s\n", error.what() );
      return EXIT_FAILURE;
   }
}
