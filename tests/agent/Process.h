#pragma once

#include "tests/agent/Directory.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Ufdd {

// Returns true if `condition` comes true within half a minute. A start may take seconds on a busy
// machine.
template < class Condition >
bool
eventually( Condition condition ) {
   auto const end = std::chrono::steady_clock::now() + std::chrono::seconds( 30 );
   while ( !condition() ) {
      if ( std::chrono::steady_clock::now() > end )
         return condition();
      std::this_thread::sleep_for( std::chrono::milliseconds( 10 ) );
   }
   return true;
}

// The path of a program of the same build, which lies beside this one.
inline std::string
builtProgram( std::string const& name ) {
   return std::filesystem::read_symlink( "/proc/self/exe" ).parent_path() / name;
}

// Runs ufdd, or another program, in the network namespace of the calling thread. The destructor
// kills the program if it still runs.
class Process {
 public:
   enum class Rights { all, noNetAdmin };

   explicit Process( std::vector< std::string > arguments, Rights rights = Rights::all,
                     std::string program = builtProgram( "ufdd" ) ) {
      int const fd = fileno( output_ );
      std::vector< char* > argv{ program.data() };
      for ( std::string& argument : arguments )
         argv.push_back( argument.data() );
      argv.push_back( nullptr );
      pid_ = fork();
      if ( pid_ != 0 )
         return;
      dup2( fd, STDOUT_FILENO );
      dup2( fd, STDERR_FILENO );
      prctl( PR_SET_PDEATHSIG, SIGKILL );
      constexpr int capNetAdmin = 12;
      if ( rights == Rights::noNetAdmin )
         prctl( PR_CAPBSET_DROP, capNetAdmin );
      execv( argv[ 0 ], argv.data() );
      _exit( 127 );
   }
   ~Process() {
      if ( pid_ > 0 ) {
         kill( pid_, SIGKILL );
         waitpid( pid_, nullptr, 0 );
      }
      std::fclose( output_ );
   }
   Process( Process const& ) = delete;
   Process& operator=( Process const& ) = delete;

   pid_t pid() const { return pid_; }
   void signal( int number ) const { kill( pid_, number ); }
   // Stops the program until SIGCONT. Returns once it has stopped.
   void stop() const {
      signal( SIGSTOP );
      waitpid( pid_, nullptr, WUNTRACED );
   }
   // Returns true if the program has ended. Does not wait.
   bool hasEnded() const {
      siginfo_t end{};
      waitid( P_PID, static_cast< id_t >( pid_ ), &end, WEXITED | WNOHANG | WNOWAIT );
      return end.si_pid != 0;
   }
   // Waits for the end. Returns the exit status, or -1 if a signal ended the program.
   int wait() {
      int status = 0;
      waitpid( std::exchange( pid_, 0 ), &status, 0 );
      return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
   }
   // Sends the signal, then does what wait() does.
   int end( int number ) {
      signal( number );
      return wait();
   }
   // Returns all that the program has written to standard output and standard error.
   std::string output() const {
      struct stat file {};
      fstat( fileno( output_ ), &file );
      std::string text( static_cast< std::size_t >( file.st_size ), '\0' );
      ssize_t const size = pread( fileno( output_ ), text.data(), text.size(), 0 );
      text.resize( static_cast< std::size_t >( std::max( size, ssize_t() ) ) );
      return text;
   }
   bool wrote( std::string const& text ) const { return count( text ) > 0; }
   // Waits until the program has written that.
   bool writes( std::string const& text ) const {
      return eventually( [ & ] { return wrote( text ); } );
   }
   std::size_t count( std::string const& text ) const {
      std::string const all = output();
      std::size_t number = 0;
      for ( std::size_t at = 0; ( at = all.find( text, at ) ) != std::string::npos; ++at )
         ++number;
      return number;
   }

 private:
   std::FILE* output_ = std::tmpfile();
   pid_t pid_ = 0;
};

// Runs ufdctl to its end. Returns its output and its exit status.
inline std::pair< std::string, int >
ufdctl( std::vector< std::string > arguments ) {
   Process process( std::move( arguments ), Process::Rights::all, builtProgram( "ufdctl" ) );
   int const status = process.wait();
   return { process.output(), status };
}

// A temporary file with that text.
class TextFile {
 public:
   explicit TextFile( std::string const& text ) {
      int const fd = mkstemp( path_.data() );
      if ( write( fd, text.data(), text.size() ) != static_cast< ssize_t >( text.size() ) )
         std::abort();
      close( fd );
   }
   ~TextFile() { unlink( path_.c_str() ); }
   TextFile( TextFile const& ) = delete;
   TextFile& operator=( TextFile const& ) = delete;

   std::string const& path() const { return path_; }

 private:
   std::string path_ = "/tmp/ufdd-test-XXXXXX";
};

} // namespace Ufdd
