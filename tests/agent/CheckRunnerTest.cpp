#include "agent/runner/ReportSender.h"
#include "tests/agent/NetworkTest.h"
#include "tests/agent/StatusReader.h"

#include <cerrno>
#include <sys/ptrace.h>

namespace Ufdd {
namespace {

// ufdd-checks beside ufdd, with checks of the uplink u1 whose commands are scripts.
class CheckRunnerTest : public NetworkTest {
 protected:
   void SetUp() override {
      NetworkTest::SetUp();
      if ( IsSkipped() )
         return;
      plug( { "u1", "d1" } );
      config = "mass_failure_delay = 0\n" + group( "g", "'u1'", "'d1'" );
   }
   // Writes a script.
   std::string script( std::string const& name, std::string const& text ) const {
      std::string const path = state_.path() + '/' + name;
      std::ofstream( path ) << "#!/bin/sh\n" << text << '\n';
      std::filesystem::permissions( path, std::filesystem::perms::owner_all );
      return path;
   }
   void check( std::string const& name, std::string const& path, std::string const& more = "" ) {
      config += "[[check]]\nname = '" + name + "'\nuplinks = [ 'u1' ]\nkind = 'command'\n" +
                "command = [ '" + path + "', 'one two' ]\n" + more + '\n';
   }
   void start() {
      ufdd.emplace( arguments( config ) );
      startRunner();
      reader.emplace( socketPath() );
   }
   void startRunner( std::vector< std::string > options = {} ) {
      options.insert( options.end(), { "--socket", socketPath() } );
      runner.emplace( options, Process::Rights::all, builtProgram( "ufdd-checks" ) );
   }
   // The number of lines in a file, which scripts append to.
   std::ptrdiff_t lines( char const* name ) const {
      std::ifstream file( state_.path() + '/' + name );
      return std::count( std::istreambuf_iterator( file ), {}, '\n' );
   }
   // Returns the last result of the check and its reason, as ufdd tells them.
   std::string found( char const* name ) {
      if ( !reader->read() )
         reader->connect();
      auto const check = reader->replica.state()->check( name );
      if ( !check || check->result() == CheckResult::none )
         return "";
      return std::string( Notify::textOf( check->result() ).view() ) + ": " +
             std::string( check->reason().view() );
   }
   bool isFound( char const* name, std::string const& what ) {
      return eventually( [ & ] { return found( name ).find( what ) != std::string::npos; } );
   }
   // Waits for a process id that a script writes there.
   pid_t pidIn( std::string const& name ) const {
      pid_t pid = 0;
      eventually( [ & ] {
         return static_cast< bool >( std::ifstream( state_.path() + '/' + name ) >> pid );
      } );
      return pid;
   }
   static bool isGone( pid_t pid ) {
      return eventually( [ pid ] { return ::kill( pid, 0 ) < 0 && errno == ESRCH; } );
   }

   std::string config;
   std::optional< ReadyUfdd > ufdd;
   std::optional< Process > runner;
   std::optional< StatusReader > reader;
};

TEST_F( CheckRunnerTest, tellsEachEndOfACommand ) {
   std::string const often = "interval = 0.2\n";
   std::string const inState = "cd " + state_.path() + "\n";
   check( "passes", script( "passes", "echo \"$1, $#\"; cat; echo more" ), often );
   check( "fails", script( "fails", "printf '\\033[31mred\\ta\\n' >&2; exit 1" ), often );
   check( "two", script( "two", "exit 2" ), often );
   check( "signal", script( "signal", "echo gone; kill -SEGV $$" ), often );
   check( "none", state_.path() + "/none", often );
   check( "long", script( "long", "head -c 300000 /dev/zero | tr '\\0' x; exit 1" ),
          "interval = 10\ntimeout = 10" );
   // Its child outlives it, unless it is killed as well. A second run would append its own child.
   check( "hangs", script( "hangs", inState + "sleep 1000 & echo $! >>child; echo waiting; wait" ),
          "interval = 20\ntimeout = 0.5" );
   // Leaves a child behind that holds its output open.
   check( "leaves", script( "leaves", inState + "sleep 1000 & echo $! >left" ), "interval = 20" );
   start();
   EXPECT_TRUE( isFound( "passes", "pass: one two, 1" ) ) << found( "passes" );
   EXPECT_TRUE( isFound( "fails", "fail: \\x1b[31mred a" ) ) << found( "fails" );
   EXPECT_TRUE( isFound( "two", "unknown: exit status 2" ) ) << found( "two" );
   EXPECT_TRUE( isFound( "signal", "unknown: ended by signal 11, Segmentation fault: gone" ) )
       << found( "signal" );
   EXPECT_TRUE( isFound( "none", "unknown: can't run " + state_.path() +
                                     "/none: No such file or directory" ) )
       << found( "none" );
   EXPECT_TRUE( isFound( "long", "fail: " + std::string( 256, 'x' ) ) ) << found( "long" );
   EXPECT_TRUE( isFound( "hangs", "unknown: no end within its timeout, 0.5 s: waiting" ) )
       << found( "hangs" );
   EXPECT_TRUE( isGone( pidIn( "child" ) ) );
   EXPECT_TRUE( isFound( "leaves", "pass" ) ) << found( "leaves" );
   EXPECT_TRUE( isGone( pidIn( "left" ) ) );
   // Stopped by a signal, it takes the commands with it.
   EXPECT_EQ( runner->end( SIGTERM ), 0 );
}

// A process that hangs in the kernel can't be made at will. One that is traced stays, too, after it
// was killed: until its tracer waits for it.
TEST_F( CheckRunnerTest, runsNoSecondOneBesideAProcessThatStays ) {
   check( "stays", script( "stays", "cd " + state_.path() + "; echo $$ >>pid; sleep 1000" ),
          "interval = 1\ntimeout = 1" );
   check( "other", script( "other", "cd " + state_.path() + "; echo >>others" ), "interval = 0.2" );
   start();
   pid_t const pid = pidIn( "pid" );
   ASSERT_EQ( ptrace( PTRACE_SEIZE, pid, nullptr, nullptr ), 0 );
   EXPECT_TRUE( isFound( "stays", "unknown: process " + std::to_string( pid ) +
                                      " is still there after it was killed" ) );
   auto const before = lines( "others" );
   EXPECT_TRUE( eventually( [ & ] { return lines( "others" ) > before + 5; } ) );
   EXPECT_EQ( lines( "pid" ), 1 );
   EXPECT_EQ( runner->count( "check stays is not run: process " ), 1u ) << runner->output();
   waitpid( pid, nullptr, __WALL );
   EXPECT_TRUE( eventually( [ & ] { return lines( "pid" ) > 1; } ) );
}

TEST_F( CheckRunnerTest, shutsAndOpensAPort ) {
   std::ofstream( state_.path() + "/is-up" );
   check( "flips", script( "flips", "test -e " + state_.path() + "/is-up" ),
          "interval = 0.1\nttl = 1\non_unknown = 'down'" );
   start();
   EXPECT_TRUE( isFound( "flips", "pass" ) );
   std::filesystem::remove( state_.path() + "/is-up" );
   EXPECT_TRUE( haveLink( { "d1-far" }, false ) );
   std::ofstream( state_.path() + "/is-up" );
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) );
   // Nobody reports any more.
   runner->end( SIGKILL );
   EXPECT_TRUE( isFound( "flips", "unknown: no report for 1 s" ) );
   EXPECT_TRUE( haveLink( { "d1-far" }, false ) );
   startRunner();
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) );
   // Another ufdd, with another check, needs nothing of ufdd-checks. Meanwhile nothing is run.
   ufdd->end( SIGUSR1 );
   EXPECT_TRUE( runner->writes( "trying again" ) );
   script( "flips", "echo >>" + state_.path() + "/runs" );
   std::this_thread::sleep_for( std::chrono::milliseconds( 500 ) );
   EXPECT_FALSE( std::filesystem::exists( state_.path() + "/runs" ) );
   check( "new", script( "new", "exit 1" ), "interval = 0.1" );
   ufdd.emplace( arguments( config ) );
   EXPECT_TRUE( isFound( "new", "fail: exit status 1" ) );
   EXPECT_TRUE( haveLink( { "d1-far" }, false ) );
   // Nor does a reload. A check that is not there any more is not run.
   config = group( "g", "'u1'", "'d1'" );
   check( "new", script( "later", "echo well" ), "interval = 0.1" );
   reload( *ufdd, config );
   EXPECT_TRUE( isFound( "new", "pass: well" ) );
   std::filesystem::remove( state_.path() + "/runs" );
   std::this_thread::sleep_for( std::chrono::milliseconds( 500 ) );
   EXPECT_FALSE( std::filesystem::exists( state_.path() + "/runs" ) );
   EXPECT_FALSE( runner->wrote( "refused" ) ) << runner->output();
}

TEST_F( CheckRunnerTest, saysOnceThatItCannotReport ) {
   check( "passes", script( "passes", "echo >>" + state_.path() + "/runs" ), "interval = 0.1" );
   ufdd.emplace( arguments( config ) );
   std::string const control = state_.path() + "/elsewhere";
   startRunner( { "--control-socket", control } );
   EXPECT_TRUE( eventually( [ & ] { return lines( "runs" ) > 5; } ) );
   EXPECT_EQ( runner->count( "can't reach ufdd at " + control ), 1u ) << runner->output();
   EXPECT_TRUE( runner->wrote( "give ufdd-checks the same --control-socket as ufdd" ) );
}

// A reload takes a check out of the configuration while its results are under way. ufdd refuses the
// request whole; the results of the others must arrive all the same.
TEST_F( CheckRunnerTest, deliversTheOthersWhenAReportIsRefused ) {
   for ( std::string const name : { "a", "b" } )
      config += "[[check]]\nname = '" + name + "'\nuplinks = [ 'u1' ]\nkind = 'reported'\n";
   ufdd.emplace( arguments( config ) );
   reader.emplace( socketPath() );
   std::vector< std::string > told;
   ReportSender sender( state_.path() + "/control",
                        [ & ]( std::string const& text ) { told.push_back( text ); } );
   auto const report = [ & ]( std::vector< char const* > const& names, char const* reason ) {
      for ( char const* const name : names )
         sender.add(
             { .check = name, .word = ControlRequest::Report::Word::up, .reason = reason } );
      sender.endTurn();
      return eventually( [ & ] {
         sender.endTurn();
         return sender.nextTime() == never;
      } );
   };
   ASSERT_TRUE( report( { "a", "gone", "b" }, "first" ) );
   EXPECT_TRUE( isFound( "a", "pass: first" ) ) << found( "a" );
   EXPECT_TRUE( isFound( "b", "pass: first" ) ) << found( "b" );
   ASSERT_TRUE( report( { "a", "gone", "b" }, "second" ) );
   EXPECT_TRUE( isFound( "b", "pass: second" ) ) << found( "b" );
   // A reload may have taken the check away a moment ago.
   EXPECT_TRUE( told.empty() );
}

} // namespace
} // namespace Ufdd
