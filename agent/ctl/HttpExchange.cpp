#include "agent/ctl/HttpExchange.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace Ufdd {

namespace {

bool
hasWholeHead( std::string_view request ) {
   return request.find( "\r\n\r\n" ) != request.npos || request.find( "\n\n" ) != request.npos;
}

std::string
answerOf( std::string_view status, std::string_view type, std::string_view body,
          std::string_view header = {} ) {
   return std::string( "HTTP/1.1 " )
       .append( status )
       .append( "\r\nContent-Type: " )
       .append( type )
       .append( "; charset=utf-8\r\nContent-Length: " )
       .append( std::to_string( body.size() ) )
       .append( "\r\n" )
       .append( header )
       .append( "Connection: close\r\n\r\n" )
       .append( body );
}

std::string
refusal( std::string_view status, std::string_view header = {} ) {
   return answerOf( status, "text/plain", std::string( status ) + '\n', header );
}

// Cuts the text before the separator off the rest, and returns it.
std::string_view
takeWord( std::string_view& rest, char separator ) {
   std::size_t const size = std::min( rest.find( separator ), rest.size() );
   std::string_view const word = rest.substr( 0, size );
   rest.remove_prefix( std::min( size + 1, rest.size() ) );
   return word;
}

} // namespace

std::string
httpAnswer( std::string_view request, MetricsPage const& page ) {
   if ( !hasWholeHead( request ) )
      return refusal( "431 Request Header Fields Too Large" );
   std::string_view line = takeWord( request, '\n' );
   if ( line.ends_with( '\r' ) )
      line.remove_suffix( 1 );
   std::string_view const method = takeWord( line, ' ' );
   std::string_view target = takeWord( line, ' ' );
   if ( method.empty() || !target.starts_with( '/' ) ||
        ( line != "HTTP/1.1" && line != "HTTP/1.0" ) )
      return refusal( "400 Bad Request" );
   if ( method != "GET" )
      return refusal( "405 Method Not Allowed", "Allow: GET\r\n" );
   std::string_view const path = takeWord( target, '?' );
   if ( path == "/" )
      return answerOf( "200 OK", "text/plain", "The metrics of ufdd are at /metrics\n" );
   if ( path != "/metrics" )
      return refusal( "404 Not Found" );
   return answerOf( "200 OK", "text/plain; version=0.0.4", page() );
}

HttpExchange::HttpExchange( Descriptor socket )
    : socket_( std::move( socket ) ), deadline_( Zet::now() + patience ) {}

short
HttpExchange::events() const {
   return stage_ == Stage::writing ? POLLOUT : POLLIN;
}

bool
HttpExchange::hasEnded() const {
   return stage_ == Stage::ended || Zet::now() >= deadline_;
}

void
HttpExchange::handle( MetricsPage const& page ) {
   if ( stage_ == Stage::reading )
      read( page );
   if ( stage_ == Stage::writing )
      write();
   if ( stage_ == Stage::closing )
      drain();
}

void
HttpExchange::read( MetricsPage const& page ) {
   std::array< char, requestLimit > bytes;
   ssize_t const size =
       recv( socket_.fd(), bytes.data(), requestLimit - request_.size(), MSG_DONTWAIT );
   if ( size < 0 && ( errno == EAGAIN || errno == EINTR ) )
      return;
   if ( size <= 0 ) {
      stage_ = Stage::ended;
      return;
   }
   request_.append( bytes.data(), static_cast< std::size_t >( size ) );
   if ( !hasWholeHead( request_ ) && request_.size() < requestLimit )
      return;
   answer_ = httpAnswer( request_, page );
   deadline_ = Zet::now() + patience;
   stage_ = Stage::writing;
}

void
HttpExchange::write() {
   ssize_t const size =
       send( socket_.fd(), answer_.data(), answer_.size(), MSG_DONTWAIT | MSG_NOSIGNAL );
   if ( size < 0 && ( errno == EAGAIN || errno == EINTR ) )
      return;
   if ( size < 0 ) {
      stage_ = Stage::ended;
      return;
   }
   answer_.erase( 0, static_cast< std::size_t >( size ) );
   if ( !answer_.empty() )
      return;
   shutdown( socket_.fd(), SHUT_WR );
   stage_ = Stage::closing;
}

// Waits for the peer to close. If the socket were closed with bytes unread, the peer might lose the
// answer.
void
HttpExchange::drain() {
   std::array< char, requestLimit > bytes;
   ssize_t const size = recv( socket_.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT );
   if ( size == 0 || ( size < 0 && errno != EAGAIN && errno != EINTR ) )
      stage_ = Stage::ended;
}

} // namespace Ufdd
