#include "agent/checks/UplinkChecks.h"

#include "agent/base/NearestWord.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Ufdd {

void
UplinkChecks::configure( std::vector< CheckSettings > const& checks, double massFailureDelay ) {
   double const now = Zet::now();
   massFailureDelay_ = massFailureDelay;
   std::map< std::string, Entry, std::less<> > const former = std::exchange( entries_, {} );
   for ( CheckSettings const& settings : checks ) {
      auto const same = former.find( settings.name );
      if ( same != former.end() && same->second.check.settings().asksAs( settings ) ) {
         auto const at = entries_.emplace( settings.name, same->second ).first;
         at->second.check.settingsAre( settings );
         continue;
      }
      Entry entry{ .check = UplinkCheck( settings, now ) };
      if ( auto const isUp = history_.verdictOf( settings.name ); isUp && same == former.end() )
         entry.check.recall( *isUp, now );
      entries_.emplace( settings.name, std::move( entry ) );
   }
   for ( auto const& [ name, entry ] : former ) {
      auto const at = entries_.find( name );
      bool const isGone = at == entries_.end();
      if ( isGone || !at->second.check.settings().asksAs( entry.check.settings() ) )
         log_.event( { .id = LogEvent::uplinkCheck },
                     "check " + name +
                         ( isGone ? " ends: it is not in the configuration any more"
                                  : " begins anew, because its settings have changed" ) +
                         ( entry.isUp() ? "" : "; its failure counts no more" ) );
   }
   hasNews_ = true;
   history_.keepVerdicts(
       [ this ]( std::string const& name ) { return entries_.contains( name ); } );
   judge( now );
}

std::optional< UplinkChecks::Objection >
UplinkChecks::report( std::span< Result const > results ) {
   for ( Result const& result : results ) {
      auto const at = entries_.find( result.check );
      std::string const name = '"' + std::string( result.check ) + '"';
      if ( at != entries_.end() &&
           at->second.check.settings().kind == CheckSettings::Kind::neighbour )
         return Objection{ false, "check " + name +
                                      " takes no reports: ufdd asks its neighbour "
                                      "itself; to report, make it kind = \"reported\"" };
      if ( at != entries_.end() )
         continue;
      std::vector< std::string_view > names;
      for ( auto const& [ known, entry ] : entries_ )
         names.push_back( known );
      auto const nearest = nearestWord( result.check, names );
      return Objection{ true,
                        "there is no check " + name +
                            ( nearest ? "; did you mean \"" + std::string( *nearest ) + "\"?"
                              : names.empty() ? "; the configuration has no [[check]]"
                                              : "; \"ufdctl show --checks\" lists all checks" ) };
   }
   double const now = Zet::now();
   for ( Result const& result : results )
      take( entries_.find( result.check )->second, result.result, result.reason, now );
   judge( now );
   return std::nullopt;
}

void
UplinkChecks::take( Entry& entry, CheckResult result, std::string_view reason, double now ) {
   CheckVerdict const before = entry.check.verdict();
   bool const wasUp = entry.check.isUp();
   unsigned int const run = entry.check.run();
   // In a steady state, clients have nothing to read.
   hasNews_ |= entry.check.last() != result || entry.check.reason() != reason;
   entry.check.handle( result, reason, now );
   hasNews_ |= entry.check.run() != run || entry.check.verdict() != before;
   tell( entry, before, wasUp );
}

std::string
UplinkChecks::uplinksText( CheckSettings const& settings ) const {
   std::string text;
   for ( Kelnet::IntfId const uplink : settings.uplinks )
      text.append( text.empty() ? "" : ", " ).append( uplink.name().view() );
   return text;
}

// "uplink1 check bfd failed: Down, 3 in a row"
void
UplinkChecks::tell( Entry const& entry, CheckVerdict before, bool wasUp ) {
   UplinkCheck const& check = entry.check;
   CheckVerdict const now = check.verdict();
   if ( now == before && check.isUp() == wasUp )
      return;
   std::string const subject = uplinksText( check.settings() ) + ' ';
   std::string const because = check.reason().empty() ? "" : ": " + check.reason();
   std::string const named = "check " + check.settings().name;
   std::string text;
   if ( now == CheckVerdict::unknown )
      text = named + " is unknown" + because +
             ( check.isUp() == wasUp ? "; its uplinks count as before"
               : check.isUp()        ? "; it counts as up (on_unknown)"
                                     : "; it counts as down (on_unknown)" );
   else if ( check.isUp() )
      text = named + " passes" + because + ", " + std::to_string( check.run() ) + " in a row";
   else
      text = check.failure();
   log_.event( { .id = LogEvent::uplinkCheck }, subject + text );
}

void
UplinkChecks::handleChanges( std::span< LinkCause const > changes ) {
   if ( entries_.empty() )
      return;
   for ( LinkCause const& change : changes )
      if ( change.condition != LinkCondition::up &&
           change.condition != LinkCondition::failedCheck && failures_.contains( change.link ) )
         carrierLostAt_ = Zet::now();
}

bool
UplinkChecks::endTurn() {
   if ( entries_.empty() )
      return false;
   double const now = Zet::now();
   // Reports may be waiting in the sockets.
   if ( now > dueAt_ + stall )
      for ( auto& [ name, entry ] : entries_ )
         entry.check.handleStall( now );
   if ( !followLinks( now ) && now < dueAt_ )
      return false;
   askNeighbours( now );
   judgeSilence( now );
   return judge( now );
}

// Nobody answers on a link without carrier, and that proves nothing about the neighbour.
bool
UplinkChecks::followLinks( double now ) {
   bool isChanged = false;
   for ( auto& [ name, entry ] : entries_ ) {
      if ( entry.check.settings().kind != CheckSettings::Kind::neighbour )
         continue;
      bool const isUp = links_.isLinkUp( entry.check.settings().uplinks.front() );
      if ( !isUp )
         isChanged |= entry.check.handleLoss( now );
      if ( std::exchange( entry.hasLink, isUp ) == isUp )
         continue;
      isChanged = true;
      entry.askAt = now;
      entry.answerBy = never;
   }
   hasNews_ |= isChanged;
   return isChanged;
}

void
UplinkChecks::askNeighbours( double now ) {
   int left = asksPerTurn;
   for ( auto& [ name, entry ] : entries_ )
      if ( neighbours_ && entry.hasLink && now >= std::min( entry.askAt, entry.answerBy ) &&
           left-- > 0 )
         askNeighbour( entry, now );
}

void
UplinkChecks::askNeighbour( Entry& entry, double now ) {
   CheckSettings const& settings = entry.check.settings();
   Link const* const link = links_.link( settings.uplinks.front() );
   Prefix const& address = *settings.address;
   std::string const text = addressText( address.isV6, address.address );
   // A question that is still open when the next one is due is judged before: that one begins anew.
   if ( entry.answerBy != never && now >= std::min( entry.answerBy, entry.askAt ) ) {
      entry.answerBy = never;
      bool const hasAnswered = neighbours_->hasAnswered( link->index, address );
      take( entry, hasAnswered ? CheckResult::pass : CheckResult::fail,
            hasAnswered ? text + " answers" : "no answer from " + text, now );
   }
   if ( now < entry.askAt )
      return;
   // Keeps to the rhythm, unless that is lost.
   entry.askAt = std::max( entry.askAt, now - settings.interval / 2 ) + settings.interval;
   if ( std::string const why = neighbours_->ask( link->index, address ); why.empty() )
      entry.answerBy = now + settings.timeout;
   else
      take( entry, CheckResult::unknown, why, now );
}

void
UplinkChecks::judgeSilence( double now ) {
   for ( auto& [ name, entry ] : entries_ )
      if ( now >= entry.check.silentAt() ) {
         CheckVerdict const before = entry.check.verdict();
         bool const wasUp = entry.check.isUp();
         entry.check.handleSilence( now );
         hasNews_ = true;
         tell( entry, before, wasUp );
      }
}

double
UplinkChecks::nextTime() const {
   double next = mass_ == Mass::delayed ? massUntil_ : never;
   for ( auto const& [ name, entry ] : entries_ ) {
      next = std::min( next, entry.check.silentAt() );
      if ( entry.delayedUntil > 0 )
         next = std::min( next, entry.delayedUntil );
      if ( neighbours_ && entry.hasLink )
         next = std::min( { next, entry.askAt, entry.answerBy } );
   }
   return next;
}

bool
UplinkChecks::judge( double now ) {
   judgeMass( now );
   bool isChanged = false;
   for ( auto& [ name, entry ] : entries_ ) {
      UplinkCheck const& check = entry.check;
      bool const isOfMass = mass_ == Mass::delayed && check.decides() && !check.isUp();
      double const until = isOfMass              ? massUntil_
                           : isDoubtful( entry ) ? check.fellAt() + atOnce
                                                 : 0;
      bool const wasUp = history_.verdictOf( name ).value_or( check.settings().startsUp );
      entry.delayedUntil = until > now ? until : 0;
      isChanged |= wasUp != entry.isUp();
      if ( check.verdict() != CheckVerdict::starting || wasUp != entry.isUp() )
         history_.verdictIs( name, entry.isUp() );
   }
   hasNews_ |= isChanged;
   apply();
   dueAt_ = nextTime();
   return isChanged;
}

void
UplinkChecks::judgeMass( double now ) {
   auto const any = [ this ]( auto is ) {
      return std::ranges::any_of( entries_, [ & ]( auto const& each ) {
         return each.second.check.decides() && is( each.second.check );
      } );
   };
   bool const hasPass =
       any( []( UplinkCheck const& check ) { return check.last() == CheckResult::pass; } );
   LogEvent const alarm{ .id = LogEvent::checkAlarm };
   Mass const before = mass_;
   if ( mass_ == Mass::none && massFailureDelay_ > 0 && isMassFailure() ) {
      mass_ = Mass::delayed;
      massUntil_ = now + massFailureDelay_;
      log_.event( alarm, "all checks failed at once, and no carrier was lost: " + decidersText() +
                             "; the fault may be in this machine, so they count only in " +
                             std::to_string( std::lround( massFailureDelay_ ) ) +
                             " s, unless one passes before (mass_failure_delay)" );
   } else if ( mass_ == Mass::delayed && hasPass ) {
      mass_ = Mass::none;
      log_.event( alarm, "not all checks fail any more; those that do count at once" );
   } else if ( mass_ == Mass::delayed && now >= massUntil_ ) {
      mass_ = Mass::counted;
      log_.event( alarm, "all checks still fail after mass_failure_delay, so they count now: " +
                             decidersText() );
   } else if ( mass_ == Mass::counted && hasPass )
      mass_ = Mass::none;
   hasNews_ |= mass_ != before;
}

bool
UplinkChecks::isMassFailure() const {
   std::size_t count = 0;
   double first = never, last = -never;
   for ( auto const& [ name, entry ] : entries_ ) {
      if ( !entry.check.decides() )
         continue;
      if ( entry.check.isUp() || entry.check.fellAt() == -never )
         return false;
      ++count;
      first = std::min( first, entry.check.fellAt() );
      last = std::max( last, entry.check.fellAt() );
   }
   return count > 1 && last - first <= atOnce && carrierLostAt_ < first - atOnce;
}

bool
UplinkChecks::isDoubtful( Entry const& entry ) const {
   double const fellAt = entry.check.fellAt();
   if ( massFailureDelay_ <= 0 || mass_ == Mass::counted || entry.check.isUp() ||
        !entry.check.decides() || fellAt == -never || carrierLostAt_ >= fellAt - atOnce )
      return false;
   std::size_t others = 0;
   for ( auto const& [ name, other ] : entries_ ) {
      if ( &other == &entry || !other.check.decides() )
         continue;
      ++others;
      bool const seemsToFall = other.check.last() == CheckResult::fail &&
                               ( other.check.isUp() || other.check.fellAt() >= fellAt - atOnce );
      if ( !seemsToFall )
         return false;
   }
   return others > 0;
}

void
UplinkChecks::apply() {
   std::map< Kelnet::IntfId, Zet::String8 > failures;
   for ( auto const& [ name, entry ] : entries_ )
      for ( Kelnet::IntfId const uplink : entry.check.settings().uplinks )
         if ( Zet::String8& failure = failures[ uplink ]; failure.empty() && !entry.isUp() )
            failure = entry.check.failure();
   for ( auto const& [ uplink, failure ] : std::exchange( failures_, failures ) )
      if ( !failures.contains( uplink ) )
         links_.failureIs( uplink, {} );
   for ( auto const& [ uplink, failure ] : failures )
      links_.failureIs( uplink, failure );
}

std::string
UplinkChecks::decidersText() const {
   std::string text;
   for ( auto const& [ name, entry ] : entries_ )
      if ( entry.check.decides() && !entry.check.isUp() )
         text += ( text.empty() ? "" : ", " ) + name;
   return text;
}

} // namespace Ufdd
