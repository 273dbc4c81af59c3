#include "agent/base/JournalLog.h"

#include "agent/base/Printable.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Ufdd {

namespace {

// The MESSAGE_ID of each kind of line, in the order of LogEvent::Id. They were drawn at random
// once.
constexpr std::array< char const*, 13 > messageIds{
   "",
   "c5a2d1f0e6b94c0fa3b7a4b1f0d1c9e2",
   "2f8e0c7b1d5a4e6f9c3b6d8a7e1f4052",
   "9b3d7e5f2a1c4d8e8f6a0b4c7d2e1935",
   "61e4c8a0f7b24d3d9a5e3c1b8f6d7024",
   "d7f1b2a94e3c48609b8d5a6c1e0f3487",
   "38c6e9d4a5f04b7e8d2f1c7b9a0e6513",
   "b7a60cec0ca74ec7aa85f8c6eef35585",
   "7dabdc844b8e4a678b36c6cc5c9c0d49",
   "aabc3a191b7e4161a47ff9795bc40095",
   "752bb7ad3eea411db3b02e9a2895662f",
   "177907222c204c80b3c377ad6c15f510",
   "9f069577a85a44d49d4ca668a04ea470",
};

void
append( std::string& message, std::string_view key, std::string_view value ) {
   if ( value.empty() )
      return;
   // A line break would begin another field.
   message.append( key ).append( "=" ).append( printable( value ) ) += '\n';
}

} // namespace

bool
JournalLog::isWanted() {
   char const* const journal = std::getenv( "JOURNAL_STREAM" );
   struct stat file {};
   if ( !journal || fstat( STDERR_FILENO, &file ) < 0 )
      return false;
   return std::to_string( file.st_dev ) + ':' + std::to_string( file.st_ino ) == journal;
}

JournalLog::JournalLog( std::string socket )
    : socket_( std::move( socket ) ),
      fd_( ::socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 ) ) {
   if ( fd_ < 0 )
      throw std::system_error( errno, std::generic_category(), "can't make a socket for the log" );
}

JournalLog::~JournalLog() {
   close( fd_ );
}

bool
JournalLog::take( LogEvent const& event, std::string_view text ) {
   if ( notTaken_ >= maxWaiting ) {
      ++dropped_;
      return false;
   }
   std::string message = "SYSLOG_IDENTIFIER=ufdd\n";
   append( message, "MESSAGE", text );
   append( message, "PRIORITY", std::to_string( syslogLevelOf( event.id ) ) );
   append( message, "MESSAGE_ID", messageIds.at( event.id ) );
   for ( std::string_view const group : event.groups )
      append( message, "UFD_GROUP", group );
   append( message, "UFD_PORT", event.port );
   waiting_.push_back( std::move( message ) );
   return true;
}

bool
JournalLog::flush() {
   bool const isTaken = send();
   notTaken_ = waiting_.size();
   if ( isTaken && dropped_ > 0 ) {
      line( std::to_string( std::exchange( dropped_, 0 ) ) +
            " lines were lost here: nobody read them in time" );
      send();
   }
   return waiting_.empty();
}

bool
JournalLog::send() {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   socket_.copy( address.sun_path, sizeof address.sun_path - 1 );
   for ( ; !waiting_.empty(); waiting_.pop_front() ) {
      std::string const& message = waiting_.front();
      ssize_t const sent =
          sendto( fd_, message.data(), message.size(), MSG_NOSIGNAL,
                  reinterpret_cast< sockaddr const* >( &address ), sizeof address );
      // The journal may recover from any error, but it never takes a line that is too large.
      if ( sent < 0 && errno != EMSGSIZE )
         return false;
   }
   return true;
}

} // namespace Ufdd
