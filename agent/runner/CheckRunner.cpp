#include "agent/runner/CheckRunner.h"

#include "agent/base/Printable.h"
#include "agent/base/WallTime.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <string_view>
#include <sys/epoll.h>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

std::vector< std::string >
linesOf( std::string_view text ) {
   std::vector< std::string > lines;
   while ( !text.empty() ) {
      std::string_view const line = text.substr( 0, text.find( '\n' ) );
      lines.emplace_back( line );
      text.remove_prefix( std::min( line.size() + 1, text.size() ) );
   }
   return lines;
}

} // namespace

CheckRunner::CheckRunner( CheckReports& reports )
    : reports_( reports ), poll_( epoll_create1( EPOLL_CLOEXEC ) ) {
   if ( !poll_ )
      throw std::system_error( errno, std::generic_category(), "can't watch commands" );
}

void
CheckRunner::follow( State const* state ) {
   isFollowing_ = state != nullptr;
   if ( !state ) {
      for ( auto& [ name, check ] : checks_ )
         drop( check );
      return;
   }
   for ( auto& [ name, check ] : checks_ )
      check.isWanted = false;
   state->checkMembers().forEach( [ this ]( CheckState const& each ) {
      if ( each.kind().view() == "command" && !each.command().view().empty() )
         take( each );
   } );
   for ( auto& [ name, check ] : checks_ )
      if ( !check.isWanted )
         drop( check );
}

// Takes a check as it is configured. A check that was known keeps its place in the interval.
void
CheckRunner::take( CheckState const& state ) {
   std::string const name( state.zetName().view() );
   double const now = Zet::now();
   auto const [ at, isNew ] = checks_.try_emplace( name );
   Check& check = at->second;
   check.isWanted = true;
   std::vector< std::string > command = linesOf( state.command().view() );
   bool const isOther = isNew || command != check.command;
   if ( !isOther && state.interval() == check.interval && state.timeout() == check.timeout )
      return;
   if ( isOther )
      drop( check );
   check.command = std::move( command );
   check.interval = std::max( state.interval(), 0.01 );
   check.timeout = state.timeout();
   if ( isNew ) {
      // Multiples of the golden ratio lie far from each other, however many there are.
      constexpr double goldenRatio = 0.6180339887498949;
      double const share = taken_++ * goldenRatio;
      check.dueAt = now + ( share - std::floor( share ) ) * check.interval;
   }
   check.dueAt = std::min( check.dueAt, now + check.interval );
   reports_.tell( "runs check " + name + " every " + secondsText( check.interval ) + ": " +
                  printable( check.command.front() ) );
}

// Ends a run whose result nobody asks for any more.
void
CheckRunner::drop( Check& check ) {
   check.isSettled = true;
   if ( check.run )
      check.run->kill();
}

void
CheckRunner::handleOutput() {
   // One by one, since each may be gone afterwards. Others come in later turns.
   epoll_event event{};
   if ( epoll_wait( poll_.fd(), &event, 1, 0 ) == 1 )
      static_cast< CheckRun* >( event.data.ptr )->receive();
}

void
CheckRunner::endTurn() {
   double const now = Zet::now();
   for ( auto at = checks_.begin(); at != checks_.end(); ) {
      auto& [ name, check ] = *at;
      handleRun( name, check, now );
      if ( check.isWanted && isFollowing_ && now >= check.dueAt )
         start( name, check, now );
      at = check.isWanted || check.run ? std::next( at ) : checks_.erase( at );
   }
   isChildDue_ = false;
}

void
CheckRunner::handleRun( std::string const& name, Check& check, double now ) {
   if ( !check.run )
      return;
   bool const isLate = now >= check.run->deadline() && !check.isSettled;
   // One that has ended in time is asked first, even if we come late.
   bool const hasEnded = ( isChildDue_ || isLate ) && check.run->hasEnded();
   if ( isLate && !hasEnded )
      check.run->kill();
   if ( ( hasEnded || isLate ) && !std::exchange( check.isSettled, true ) )
      report( name, check.run->result() );
   if ( hasEnded )
      check.run.reset();
}

void
CheckRunner::start( std::string const& name, Check& check, double now ) {
   // Those that a stall has missed are left out.
   double const missed = std::floor( ( now - check.dueAt ) / check.interval );
   check.dueAt += ( 1 + missed ) * check.interval;
   if ( !check.run ) {
      check.isSettled = check.isStuckTold = false;
      check.run = std::make_unique< CheckRun >( check.command, check.timeout, poll_.fd() );
      // Unless it could not be started, it goes on.
      if ( check.run->pid() == 0 )
         report( name, std::exchange( check.run, nullptr )->result() );
      return;
   }
   // Its timeout is not longer than its interval, but it may have become so, or may end just now.
   if ( !check.isSettled || check.run->hasEnded() )
      return;
   std::string const stuck =
       "process " + std::to_string( check.run->pid() ) + " is still there after it was killed";
   report( name, { ControlRequest::Report::Word::unknown, stuck } );
   if ( !std::exchange( check.isStuckTold, true ) )
      reports_.tell( "check " + name + " is not run: " + stuck +
                     "; see what it waits for in the kernel (ps -o pid,stat,wchan,args)" );
}

void
CheckRunner::report( std::string const& name, CheckRun::Result result ) {
   reports_.add( { name, result.word, std::move( result.reason ) } );
}

double
CheckRunner::nextTime() const {
   double next = never;
   for ( auto const& [ name, check ] : checks_ ) {
      if ( check.isWanted && isFollowing_ )
         next = std::min( next, check.dueAt );
      if ( check.run && !check.isSettled )
         next = std::min( next, check.run->deadline() );
   }
   return next;
}

std::size_t
CheckRunner::count() const {
   return static_cast< std::size_t >(
       std::ranges::count_if( checks_, []( auto const& each ) { return each.second.isWanted; } ) );
}

} // namespace Ufdd
