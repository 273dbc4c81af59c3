#include "agent/runner/ReportSender.h"

#include "agent/base/UnixSocket.h"
#include "agent/base/WallTime.h"
#include "agent/control/ControlText.h"
#include "agent/status/StatusStream.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <sys/socket.h>
#include <utility>

namespace Ufdd {

namespace {

// In bytes: the most that one report takes up beside its name and reason, and a request beside its
// reports.
constexpr std::size_t reportFrame = 32;
constexpr std::size_t requestFrame = 64;

std::size_t
sizeOf( ControlRequest::Report const& report ) {
   return report.check.size() + report.reason.size() + reportFrame;
}

constexpr char const* remedy =
    "start ufdd with --report-group GROUP, and ufdd-checks with GROUP among its groups";

} // namespace

void
ReportSender::forget() {
   waiting_.clear();
   sent_.clear();
   alone_ = 0;
   socket_ = Descriptor();
   answerBy_ = never;
   told_.clear();
}

double
ReportSender::nextTime() const {
   return socket_ ? answerBy_ : waiting_.empty() ? never : pausedUntil_;
}

void
ReportSender::endTurn() {
   if ( socket_ )
      receive();
   if ( socket_ && Zet::now() >= answerBy_ )
      fail( "ufdd at " + path_ + " did not answer within " + secondsText( patience ) +
            "; see whether it is stuck" );
   if ( !socket_ && !waiting_.empty() && Zet::now() >= pausedUntil_ )
      send();
}

void
ReportSender::send() {
   std::size_t size = requestFrame;
   std::size_t count = 0;
   std::size_t const most = alone_ > 0 ? 1 : waiting_.size();
   while ( count < most && ( count == 0 || size + sizeOf( waiting_[ count ] ) <= requestLimit ) )
      size += sizeOf( waiting_[ count++ ] );
   auto const end = waiting_.begin() + static_cast< std::ptrdiff_t >( count );
   sent_.assign( std::move_iterator( waiting_.begin() ), std::move_iterator( end ) );
   waiting_.erase( waiting_.begin(), end );
   ControlRequest request;
   request.verb = ControlRequest::Verb::report;
   request.reports = sent_;
   std::string const text = textOf( request );

   socket_ = unixStream();
   fcntl( socket_.fd(), F_SETFL, O_NONBLOCK );
   sockaddr_un const address = unixAddress( path_ );
   if ( connect( socket_.fd(), reinterpret_cast< sockaddr const* >( &address ), sizeof address ) <
        0 ) {
      int const error = errno;
      return fail( error == EACCES
                       ? "may not report: can't open " + path_ + "; " + remedy
                       : unreachableText( path_, error, "--control-socket", "ufdd-checks" ) );
   }
   // ufdd may refuse, and answer, before all is sent. Then the answer says why.
   ::send( socket_.fd(), text.data(), text.size(), MSG_NOSIGNAL );
   answer_.clear();
   answerBy_ = Zet::now() + patience;
}

void
ReportSender::receive() {
   std::array< char, 4096 > bytes;
   for ( ;; ) {
      ssize_t const size = recv( socket_.fd(), bytes.data(), bytes.size(), 0 );
      if ( size < 0 && ( errno == EAGAIN || errno == EINTR ) )
         return;
      if ( size <= 0 || answer_.size() > replyLimit )
         return handleAnswer();
      answer_.append( bytes.data(), static_cast< std::size_t >( size ) );
   }
}

void
ReportSender::handleAnswer() {
   socket_ = Descriptor();
   answerBy_ = never;
   try {
      if ( ControlReply const reply = replyOf( answer_ ); reply.kind != ControlReply::Kind::done )
         handleRefusal( reply );
      finish();
   } catch ( ControlTextError const& error ) {
      fail( "can't read the answer of ufdd at " + path_ + ": " + error.what() +
            "; use ufdd and ufdd-checks of the same version" );
   }
}

void
ReportSender::handleRefusal( ControlReply const& reply ) {
   using Kind = ControlReply::Kind;
   if ( reply.kind == Kind::notAdmin )
      return fail( "may not report: " + reply.text + "; " + remedy );
   bool const isBusy = reply.kind == Kind::failed;
   if ( isBusy )
      pausedUntil_ = Zet::now() + pause;
   if ( isBusy || sent_.size() > 1 ) {
      alone_ = isBusy ? alone_ : sent_.size();
      waiting_.insert( waiting_.begin(), std::move_iterator( sent_.begin() ),
                       std::move_iterator( sent_.end() ) );
      return sent_.clear();
   }
   // A reload has just taken the check away. The status says so in a moment.
   if ( reply.kind == Kind::unknown )
      return;
   fail( "ufdd refused the report of check " + sent_.front().check + ": " + reply.text );
}

void
ReportSender::finish() {
   alone_ -= std::min( alone_, sent_.size() );
   sent_.clear();
}

// Gives up the request that is under way.
void
ReportSender::fail( std::string const& text ) {
   socket_ = Descriptor();
   answerBy_ = never;
   finish();
   if ( told_.insert( text ).second )
      tell_( text );
}

} // namespace Ufdd
