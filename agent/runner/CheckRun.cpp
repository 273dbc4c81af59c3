#include "agent/runner/CheckRun.h"

#include "agent/base/Printable.h"
#include "agent/base/WallTime.h"
#include "agent/control/ControlText.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Ufdd {

namespace {

using Word = ControlRequest::Report::Word;

// Makes a pipe whose first end never blocks. Returns no descriptors, with errno, if that fails.
std::pair< Descriptor, Descriptor >
newPipe() {
   std::array< int, 2 > fds{ -1, -1 };
   if ( pipe2( fds.data(), O_CLOEXEC ) == 0 )
      fcntl( fds[ 0 ], F_SETFL, O_NONBLOCK );
   return { Descriptor( fds[ 0 ] ), Descriptor( fds[ 1 ] ) };
}

// Returns the text, cut off between two characters if it is too long for a report.
std::string
reasonOf( std::string text ) {
   if ( text.size() <= reasonLimit )
      return text;
   std::size_t size = reasonLimit;
   while ( size > 0 && ( static_cast< unsigned char >( text[ size ] ) & 0xc0 ) == 0x80 )
      --size;
   text.resize( size );
   return text;
}

// Returns both, separated by a colon, or only the first one if there is no second.
std::string
joined( std::string first, std::string const& second ) {
   return second.empty() ? first : std::move( first ) + ": " + second;
}

} // namespace

CheckRun::CheckRun( std::vector< std::string > command, double timeout, int poll )
    : command_( std::move( command ) ), timeout_( timeout ), deadline_( Zet::now() + timeout ),
      poll_( poll ) {
   start();
}

CheckRun::~CheckRun() {
   stopReceiving();
   kill();
   hasEnded();
}

void
CheckRun::start() {
   auto [ output, outputEnd ] = newPipe();
   auto [ failure, failureEnd ] = newPipe();
   epoll_event event{ .events = EPOLLIN, .data = { .ptr = this } };
   if ( !output || !failure || epoll_ctl( poll_, EPOLL_CTL_ADD, output.fd(), &event ) < 0 ) {
      error_ = errno;
      return;
   }
   output_ = std::move( output );
   failure_ = std::move( failure );
   // A copy of this small process, and not a child that holds us up until it has executed the
   // program: its file system may hang.
   pid_t const pid = fork();
   if ( pid == 0 )
      become( outputEnd.fd(), failureEnd.fd() );
   if ( pid < 0 ) {
      error_ = errno;
      return stopReceiving();
   }
   pid_ = pid;
   // Here as well, so that kill() finds the group whichever process runs first.
   setpgid( pid_, pid_ );
}

// Becomes the command, in the child.
void
CheckRun::become( int output, int failure ) {
   setpgid( 0, 0 );
   prctl( PR_SET_PDEATHSIG, SIGKILL );
   sigset_t none;
   sigemptyset( &none );
   sigprocmask( SIG_SETMASK, &none, nullptr );
   std::signal( SIGPIPE, SIG_DFL );
   // Nothing that is ours stays open, however long the kernel takes to execute the program.
   int const failureCopy = STDERR_FILENO + 1;
   int const input = open( "/dev/null", O_RDONLY | O_CLOEXEC );
   std::vector< char* > words;
   for ( std::string const& word : command_ )
      words.push_back( const_cast< char* >( word.c_str() ) );
   words.push_back( nullptr );
   if ( dup2( input, STDIN_FILENO ) >= 0 && dup2( output, STDOUT_FILENO ) >= 0 &&
        dup2( output, STDERR_FILENO ) >= 0 && dup2( failure, failureCopy ) >= 0 &&
        fcntl( failureCopy, F_SETFD, FD_CLOEXEC ) == 0 ) {
      failure = failureCopy;
      close_range( failureCopy + 1, ~0u, 0 );
      execv( words[ 0 ], words.data() );
   }
   int const error = errno;
   [[maybe_unused]] ssize_t const size = write( failure, &error, sizeof error );
   _exit( 127 );
}

// Says so to the epoll, too: a child that has not executed its program yet has a copy.
void
CheckRun::stopReceiving() {
   if ( output_ )
      epoll_ctl( poll_, EPOLL_CTL_DEL, output_.fd(), nullptr );
   output_ = Descriptor();
}

void
CheckRun::receive() {
   std::array< char, 1 << 14 > bytes;
   // One that writes without end is read again in later turns.
   for ( int piece = 0; output_ && piece < 8; ++piece ) {
      ssize_t const size = read( output_.fd(), bytes.data(), bytes.size() );
      if ( size > 0 )
         text_.append( bytes.data(),
                       std::min( static_cast< std::size_t >( size ), outputLimit - text_.size() ) );
      else if ( size == 0 || ( errno != EAGAIN && errno != EINTR ) )
         return stopReceiving();
      else if ( errno == EAGAIN )
         return;
   }
}

bool
CheckRun::hasEnded() {
   if ( pid_ == 0 )
      return true;
   // Leaves the process for now, so that no other group gets its number before this one is killed.
   siginfo_t end{};
   auto const id = static_cast< id_t >( pid_ );
   if ( waitid( P_PID, id, &end, WEXITED | WNOHANG | WNOWAIT ) < 0 || end.si_pid == 0 )
      return false;
   ::kill( -pid_, SIGKILL );
   waitid( P_PID, id, &end_, WEXITED | WNOHANG );
   pid_ = 0;
   receive();
   stopReceiving();
   if ( read( failure_.fd(), &error_, sizeof error_ ) != sizeof error_ )
      error_ = 0;
   return true;
}

void
CheckRun::kill() {
   if ( pid_ == 0 )
      return;
   isKilled_ = true;
   ::kill( -pid_, SIGKILL );
   stopReceiving();
}

std::string
CheckRun::firstLine() const {
   std::string line = text_.substr( 0, text_.find( '\n' ) );
   std::ranges::replace( line, '\t', ' ' );
   line.erase( line.find_last_not_of( " \r" ) + 1 );
   line.erase( 0, line.find_first_not_of( ' ' ) );
   return printable( line );
}

CheckRun::Result
CheckRun::result() const {
   std::string const line = firstLine();
   auto const unknown = [ & ]( std::string why, std::string const& detail ) {
      return Result{ Word::unknown, reasonOf( joined( std::move( why ), detail ) ) };
   };
   if ( error_ != 0 )
      return unknown( "can't run " + printable( command_.front() ),
                      std::generic_category().message( error_ ) );
   if ( isKilled_ || pid_ != 0 )
      return unknown( "no end within its timeout, " + secondsText( timeout_ ), line );
   if ( end_.si_code != CLD_EXITED )
      return unknown( "ended by signal " + std::to_string( end_.si_status ) + ", " +
                          strsignal( end_.si_status ),
                      line );
   if ( end_.si_status > 1 )
      return unknown( "exit status " + std::to_string( end_.si_status ), line );
   if ( end_.si_status == 0 )
      return { Word::up, reasonOf( line ) };
   return { Word::down, line.empty() ? "exit status 1" : reasonOf( line ) };
}

} // namespace Ufdd
