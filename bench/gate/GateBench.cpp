// Measures how late ufdd reacts to a lost carrier whose message the kernel delays, with and without
// queries, and what the queries cost. Everything happens in a network namespace of its own.

#include "agent/kernel/LinkMessage.h"
#include "agent/kernel/NetlinkSocket.h"
#include "tests/agent/Process.h"
#include "tests/agent/Tap.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <random>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace Ufdd;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration< double, std::milli >;

constexpr auto kernelHoldsBack = 1s;
// Twice as long as the kernel may delay a message.
constexpr auto longest = 2s;

void
ip( std::string const& arguments ) {
   if ( std::system( ( "ip " + arguments ).c_str() ) != 0 )
      throw std::runtime_error( "failed: ip " + arguments );
}

void
plug( std::string const& name ) {
   ip( "link add " + name + " type veth peer name " + name + "-far" );
   ip( "link set " + name + " up" );
   ip( "link set " + name + "-far up" );
}

// Gives the process the priority of the service, so that other load does not count.
void
beforeAllOthers( pid_t process ) {
   sched_param const parameters{ .sched_priority = 10 };
   if ( sched_setscheduler( process, SCHED_FIFO, &parameters ) < 0 )
      std::perror( "no real-time scheduling, so what else runs here counts" );
}

// Receives the kernel's messages about ports that are shut or opened.
class Ports {
 public:
   Ports() { socket_.subscribe( RTNLGRP_LINK ); }

   // Waits until the port is set so, and returns the time.
   // Throws: std::runtime_error after a while.
   Clock::time_point await( std::string_view port, bool up ) {
      for ( auto const begin = Clock::now(); Clock::now() - begin < longest; )
         if ( auto const datagram = socket_.receive( 100 );
              datagram && isOf( *datagram, port, up ) )
            return Clock::now();
      throw std::runtime_error( std::string( port ) + " was not " + ( up ? "opened" : "shut" ) );
   }

 private:
   static bool isOf( NetlinkSocket::Datagram const& datagram, std::string_view port, bool up ) {
      auto const* message = reinterpret_cast< nlmsghdr const* >( datagram.bytes.data() );
      int left = static_cast< int >( datagram.bytes.size() );
      for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) )
         if ( auto const link = linkOf( *message );
              link && link->name.view() == port && link->adminUp == up )
            return true;
      return false;
   }

   NetlinkSocket socket_;
};

struct Group {
   std::string uplink;
   std::string port;
};

std::string
configOf( std::string const& detection, std::vector< Group > const& groups ) {
   std::string text = "detection = \"" + detection + "\"\n";
   for ( Group const& group : groups )
      text += "[[group]]\nname = \"" + group.uplink + "\"\nmonitor = [ \"" + group.uplink +
              "\" ]\ndisable = [ \"" + group.port + "\" ]\nrecovery_delay = 0\n";
   return text;
}

class Daemon {
 public:
   explicit Daemon( std::string const& config )
       : config_( config ),
         process_( { "--config", config_.path(), "--state-dir", directory_.path() } ) {
      if ( !eventually( [ this ] { return process_.wrote( "watching" ); } ) )
         throw std::runtime_error( "ufdd did not start: " + process_.output() );
      beforeAllOthers( process_.pid() );
   }
   // Returns the processor time so far.
   std::chrono::nanoseconds cost() const {
      long long nanoseconds = 0;
      std::ifstream( std::string( "/proc/" )
                         .append( std::to_string( process_.pid() ) )
                         .append( "/schedstat" ) ) >>
          nanoseconds;
      return std::chrono::nanoseconds( nanoseconds );
   }

 private:
   TextFile config_;
   Directory directory_;
   Process process_;
};

struct Scenario {
   std::string name;
   std::function< void() > first; // Makes the kernel delay messages. None if others do that.
   std::string firstPort;         // Is shut then.
   std::chrono::milliseconds gap;
   std::function< void() > repair;
};

// A user without any rights, who makes the kernel delay messages in every network namespace: a
// bridge in a namespace of that user gains and loses its carrier again and again.
class Attacker {
 public:
   Attacker()
       : process_( { "--reuid=65534", "--regid=65534", "--clear-groups", "unshare", "-Urn", "sh",
                     "-c", flapping },
                   Process::Rights::all, "/usr/bin/setpriv" ) {
      if ( !eventually(
               [ this ] { return process_.wrote( "flapping" ) || process_.hasEnded(); } ) ||
           process_.hasEnded() )
         throw std::runtime_error( "nobody can't make a bridge: " + process_.output() );
   }

 private:
   static constexpr char const* flapping =
       "ip link add br0 type bridge && ip link add p0 type veth peer name p1 && "
       "ip link set p0 master br0 && ip link set p1 up && ip link set br0 up && echo flapping && "
       "while ip link set p0 up && ip link set p0 down; do sleep .03; done";

   Process process_;
};

double
percentile( std::vector< double > const& sorted, double part ) {
   auto const rank =
       static_cast< std::size_t >( std::ceil( part * static_cast< double >( sorted.size() ) ) );
   return sorted[ std::max< std::size_t >( rank, 1 ) - 1 ];
}

// Prints the milliseconds from the loss of u2's carrier until d2 is seen shut.
void
measure( Scenario const& scenario, std::string const& detection, Tap& u2, int trials ) {
   Ports ports;
   Daemon const ufdd( configOf( detection, { { "u1", "d1" }, { "u2", "d2" }, { "v1", "d3" } } ) );
   std::vector< double > times;
   // Adds up to two intervals of queries to the gap, so that the loss comes at any time between two
   // queries. Under an attack, the loss comes at any time between two messages.
   std::mt19937 random( 1 );
   std::uniform_int_distribution< int > more( 0, scenario.first ? 4000 : 1000000 );
   for ( int i = 0; i < trials; ++i ) {
      std::this_thread::sleep_for( kernelHoldsBack + 200ms );
      if ( scenario.first ) {
         scenario.first();
         ports.await( scenario.firstPort, false );
      }
      std::this_thread::sleep_for( scenario.gap + std::chrono::microseconds( more( random ) ) );
      auto const begin = Clock::now();
      u2.carrierIs( false );
      times.push_back( Milliseconds( ports.await( "d2", false ) - begin ).count() );
      u2.carrierIs( true );
      ports.await( "d2", true );
      if ( scenario.first ) {
         scenario.repair();
         ports.await( scenario.firstPort, true );
      }
   }
   std::sort( times.begin(), times.end() );
   std::printf( "%-34s %-7s %6d %9.2f %9.2f %9.2f\n", scenario.name.c_str(), detection.c_str(),
                trials, percentile( times, .5 ), percentile( times, .99 ), times.back() );
   std::fflush( stdout );
}

void
measureDelays( int trials, bool onlyAttack ) {
   Tap u1( "u1" );
   Tap u2( "u2" );
   ip( "link set u1 up" );
   ip( "link set u2 up" );
   for ( char const* const name : { "v1", "d1", "d2", "d3" } )
      plug( name );
   std::vector< Scenario > scenarios;
   for ( auto const gap : { 10ms, 50ms, 300ms, 900ms } )
      scenarios.push_back( { std::to_string( gap.count() ) + " ms after another",
                             [ & ] { u1.carrierIs( false ); }, "d1", gap,
                             [ & ] { u1.carrierIs( true ); } } );
   // The kernel never delays messages about such a cable.
   scenarios.push_back( { "10 ms after ufdd shut a port", [] { ip( "link set v1-far down" ); },
                          "d3", 10ms, [] { ip( "link set v1-far up" ); } } );
   std::printf( "%-34s %-7s %6s %9s %9s %9s\n", "when a carrier is lost", "", "trials", "p50 ms",
                "p99 ms", "max ms" );
   if ( !onlyAttack )
      for ( Scenario const& scenario : scenarios )
         for ( char const* const detection : { "auto", "events" } )
            measure( scenario, detection, u2, trials );
   Attacker const attacker;
   for ( char const* const detection : { "auto", "poll", "verify", "events" } )
      measure( { "under attack", {}, {}, 0ms, {} }, detection, u2, trials );
}

// Prints the processor time that ufdd takes while nothing happens.
void
measureCost( std::string const& kind, int count ) {
   constexpr auto period = 10s;
   std::vector< Group > groups;
   for ( int i = 0; i < count; ++i ) {
      std::string const name = std::string( "t" ).append( std::to_string( i ) );
      ip( "link add " + name + " type " + kind );
      ip( "link set " + name + " up" );
      groups.push_back( { name, "none" } );
   }
   for ( std::string const detection : { "auto", "poll", "verify" } ) {
      Daemon const ufdd( configOf( detection, groups ) );
      std::this_thread::sleep_for( kernelHoldsBack + 500ms );
      auto const before = ufdd.cost();
      std::this_thread::sleep_for( period );
      std::printf( "%2d uplinks (%s), %-20s %7.3f %% of a core\n", count, kind.c_str(),
                   detection.c_str(), 100 * Milliseconds( ufdd.cost() - before ) / period );
      std::fflush( stdout );
   }
   for ( Group const& group : groups )
      ip( "link del " + group.uplink );
}

} // namespace

int
main( int argc, char** argv ) {
   int const trials = argc > 1 ? std::atoi( argv[ 1 ] ) : 50;
   bool const onlyAttack = argc > 2 && std::string_view( argv[ 2 ] ) == "attack";
   if ( argc > 2 + onlyAttack || trials < 1 ) {
      std::fprintf( stderr, "usage: bench_gate [TRIALS [attack]]\n" );
      return 64;
   }
   if ( unshare( CLONE_NEWNET ) < 0 ) {
      std::perror( "no network namespace can be made" );
      return EXIT_FAILURE;
   }
   beforeAllOthers( 0 );
   try {
      // The drivers of the second kind do not say whether there is carrier.
      for ( char const* const kind : { "veth", "ifb" } )
         for ( int const count : { 2, 64 } )
            if ( !onlyAttack )
               measureCost( kind, count );
      std::printf( "\n" );
      measureDelays( trials, onlyAttack );
   } catch ( std::exception const& error ) {
      std::fprintf( stderr, "bench_gate: %s\n", error.what() );
      return EXIT_FAILURE;
   }
   return EXIT_SUCCESS;
}
