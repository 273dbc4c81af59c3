#include "agent/base/CommandLine.h"
#include "agent/base/EventLoop.h"
#include "agent/base/Printable.h"
#include "agent/base/ServiceManager.h"
#include "agent/base/StandardDescriptors.h"
#include "agent/control/ControlSocket.h"
#include "agent/runner/CheckRunner.h"
#include "agent/runner/ReportSender.h"
#include "agent/status/Follower.h"
#include "agent/status/StatusServer.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <sys/epoll.h>
#include <system_error>
#include <utility>

namespace {

using namespace Ufdd;

void
tell( std::string const& text ) {
   std::cerr << "ufdd-checks: " << printable( text ) << std::endl;
}

struct Options {
   std::string socket = StatusServer::usualSocket;
   std::string controlSocket = {};
};

// The program: follows ufdd, runs the commands of its checks, and reports what they find.
class Program final : private CheckReports {
 public:
   explicit Program( Options const& options );
   void run();

 private:
   // Turns end with endTurn(), whatever has happened.
   void handleSockets() {}
   void handleTimer() {}
   void stop() { loop_.exit(); }
   void endTurn();
   void follow();
   void watch( int fd ) const;

   void add( ControlRequest::Report report ) override { sender_.add( std::move( report ) ); }
   void tell( std::string const& text ) override { ::tell( text ); }

   Follower follower_;
   ReportSender sender_;
   CheckRunner runner_;
   ServiceManager manager_;
   Descriptor const poll_; // An epoll over the connections to ufdd, which come and go.
   EventLoop loop_;
   EventLoop::Source& timer_ = loop_.timer< &Program::handleTimer >( *this );
   double aliveAt_ = 0; // When the service manager expects a word, by Zet::now().
   bool isFollowing_ = false;
};

Program::Program( Options const& options )
    : follower_( options.socket, "ufdd-checks" ),
      sender_( options.controlSocket, []( std::string const& text ) { ::tell( text ); } ),
      runner_( *this ), poll_( epoll_create1( EPOLL_CLOEXEC ) ) {
   if ( !poll_ )
      throw std::system_error( errno, std::generic_category(), "can't watch sockets" );
   // Commands have no business with the service manager.
   for ( char const* const name : { "NOTIFY_SOCKET", "WATCHDOG_PID", "WATCHDOG_USEC" } )
      unsetenv( name );
   loop_.onReadable< &Program::handleSockets >( poll_.fd(), *this );
   loop_.onReadable< &CheckRunner::handleOutput >( runner_.fd(), runner_ );
   loop_.onSignal< &CheckRunner::handleChild >( SIGCHLD, runner_ );
   for ( int const signal : { SIGTERM, SIGINT } )
      loop_.onSignal< &Program::stop >( signal, *this );
   loop_.onTurnEnd< &Program::endTurn >( *this );
}

void
Program::run() {
   manager_.ready();
   endTurn();
   loop_.run();
   manager_.stopping();
}

void
Program::endTurn() {
   follow();
   runner_.endTurn();
   sender_.endTurn();
   watch( follower_.fd() );
   watch( sender_.fd() );
   double next = std::min( { follower_.nextTime(), runner_.nextTime(), sender_.nextTime() } );
   if ( double const period = static_cast< double >( manager_.watchdogPeriod() ) / 1e6;
        period > 0 ) {
      if ( Zet::now() >= aliveAt_ ) {
         manager_.alive();
         aliveAt_ = Zet::now() + period / 2;
      }
      next = std::min( next, aliveAt_ );
   }
   // Reports that the service manager did not take are sent in a later turn.
   manager_.send();
   if ( next != never )
      timer_.fireAt( next );
}

void
Program::follow() {
   if ( !follower_.handle() )
      return;
   StatusRoots const* const roots = follower_.roots();
   if ( bool const isFollowing = roots != nullptr;
        std::exchange( isFollowing_, isFollowing ) != isFollowing ) {
      sender_.forget();
      if ( isFollowing )
         tell( "follows ufdd" );
   }
   runner_.follow( roots ? roots->state.get() : nullptr );
   manager_.statusIs( roots ? "checks that are run: " + std::to_string( runner_.count() )
                            : "waits for ufdd" );
}

// Watches a connection, unless there is none or it is watched already. One that is closed is
// forgotten by the epoll itself.
void
Program::watch( int fd ) const {
   epoll_event event{ .events = EPOLLIN, .data = {} };
   if ( fd >= 0 && epoll_ctl( poll_.fd(), EPOLL_CTL_ADD, fd, &event ) < 0 && errno != EEXIST )
      throw std::system_error( errno, std::generic_category(), "can't watch a socket" );
}

} // namespace

int
main( int argc, char** argv ) {
   fillStandardDescriptors( O_RDWR );
   std::signal( SIGPIPE, SIG_IGN );
   CommandLine line( "ufdd-checks", UFDD_VERSION,
                     "Runs the commands of the checks that ufdd is configured with, and reports "
                     "to it what\nthey find." );
   Options options;
   line.option( "--socket", "PATH", options.socket, "Where ufdd serves its status" );
   line.option( "--control-socket", "PATH", options.controlSocket,
                "Where ufdd takes reports; \"control\" beside the status socket if this\n"
                "is not given" );
   line.footer( "A command that ends with 0 has passed, and with 1 has failed. Everything else is\n"
                "unknown. The first line that it writes is the reason.\n\n"
                "SIGTERM stops ufdd-checks and the commands that it runs.\n\n"
                "Exit status: 0 if a signal stopped it; 64 if the command line is wrong; 1 for\n"
                "anything else, with a line that says why." );
   if ( auto const status = line.parse( argc, argv ) )
      return *status;
   if ( options.controlSocket.empty() )
      options.controlSocket = controlSocketBeside( options.socket );
   try {
      Program( options ).run();
      return EXIT_SUCCESS;
   } catch ( std::exception const& error ) {
      tell( error.what() );
      return EXIT_FAILURE;
   }
}
