#include "agent/checks/UplinkCheck.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace Ufdd {

UplinkCheck::UplinkCheck( CheckSettings settings, double now )
    : settings_( std::move( settings ) ), isUp_( settings_.startsUp ), since_( now ) {
   if ( !isUp_ )
      failure_ = "check " + settings_.name + " has not passed yet";
}

void
UplinkCheck::recall( bool isUp, double now ) {
   hasVerdict_ = true;
   become( isUp, "failed before ufdd was started" );
   heardAt_ = since_ = now;
}

void
UplinkCheck::become( bool isUp, std::string why ) {
   isUp_ = isUp;
   failure_ = isUp ? "" : "check " + settings_.name + ' ' + std::move( why );
   if ( isUp )
      fellAt_ = -never;
}

void
UplinkCheck::handle( CheckResult result, std::string_view reason, double now ) {
   heardAt_ = now;
   CheckVerdict const verdictBefore = verdict();
   bool const wasUp = isUp_;
   unsigned int const most = result == CheckResult::pass   ? settings_.rise
                             : result == CheckResult::fail ? settings_.fall
                                                           : 1;
   bool const isRepeated = std::exchange( last_, result ) == result;
   bool const isEnough = isRepeated ? run_ + 1 == most : most == 1;
   run_ = isRepeated ? std::min( run_ + 1, most ) : 1;
   reason_ = reason;
   std::string const because = reason_.empty() ? "" : ": " + reason_;
   if ( result == CheckResult::unknown ) {
      using OnUnknown = CheckSettings::OnUnknown;
      bool const keeps = settings_.onUnknown == OnUnknown::keep;
      // Until there is a verdict, it counts as configured for that.
      if ( std::exchange( isLost_, false ) && keeps )
         become( wasUp_, "failed before the carrier was lost" );
      else if ( hasVerdict_ && !keeps )
         become( settings_.onUnknown == OnUnknown::up, "is unknown" + because );
   } else if ( isEnough ) {
      hasVerdict_ = true;
      isLost_ = false;
      become( result == CheckResult::pass,
              "failed" + because + ", " + std::to_string( run_ ) + " in a row" );
      // One that was down before has not fallen now.
      if ( wasUp && !isUp_ )
         fellAt_ = now;
   }
   if ( verdict() != verdictBefore || isUp_ != wasUp )
      since_ = now;
}

double
UplinkCheck::silentAt() const {
   bool const isHeard = settings_.kind != CheckSettings::Kind::neighbour && heardAt_ != never &&
                        last_ != CheckResult::unknown;
   return isHeard ? heardAt_ + settings_.ttl : never;
}

void
UplinkCheck::handleSilence( double now ) {
   char text[ 64 ];
   std::snprintf( text, sizeof text, "no report for %g s", settings_.ttl );
   handle( CheckResult::unknown, text, now );
}

void
UplinkCheck::handleStall( double now ) {
   if ( heardAt_ != never )
      heardAt_ = now;
}

bool
UplinkCheck::handleLoss( double now ) {
   if ( isLost_ && last_ == CheckResult::none )
      return false;
   wasUp_ = isLost_ ? wasUp_ : isUp_;
   isLost_ = true;
   last_ = CheckResult::none;
   reason_.clear();
   run_ = 0;
   since_ = now;
   become( false, "has not passed since the carrier was lost" );
   fellAt_ = -never;
   return true;
}

CheckVerdict
UplinkCheck::verdict() const {
   if ( last_ == CheckResult::unknown )
      return CheckVerdict::unknown;
   if ( !hasVerdict_ || isLost_ )
      return CheckVerdict::starting;
   return isUp_ ? CheckVerdict::up : CheckVerdict::down;
}

} // namespace Ufdd
