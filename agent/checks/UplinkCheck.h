#pragma once

#include "agent/base/Never.h"
#include "agent/config/CheckSettings.h"
#include "agent/state/CheckResult.h"

#include <string>
#include <string_view>

namespace Ufdd {

// One check. Its results in a row decide whether it counts as up. Knows nothing of other checks and
// of links. Times are those of Zet::now().
class UplinkCheck {
 public:
   // Counts as its settings say until its first verdict.
   UplinkCheck( CheckSettings settings, double now );

   CheckSettings const& settings() const { return settings_; }
   // Replaces the settings. Requires: they ask the same, so that its results go on.
   void settingsAre( CheckSettings settings ) { settings_ = std::move( settings ); }
   // Makes it what it was before ufdd was started.
   void recall( bool isUp, double now );

   void handle( CheckResult result, std::string_view reason, double now );
   // When no word has come for the time to live; `never` while that can't be.
   double silentAt() const;
   void handleSilence( double now );
   // Begins the time to live anew: nobody could be heard meanwhile.
   void handleStall( double now );
   // Its uplink has no carrier. Once that is back, it takes passes to be up again. Returns false if
   // this is known.
   bool handleLoss( double now );

   bool isUp() const { return isUp_; }
   CheckVerdict verdict() const;
   // Returns true if passes and fails decide what it counts as at present.
   bool decides() const { return hasVerdict_ && isOfResults(); }
   CheckResult last() const { return last_; }
   std::string const& reason() const { return reason_; }
   // The number of its last results that were alike, up to rise or fall.
   unsigned int run() const { return run_; }
   double since() const { return since_; }
   // When enough fails in a row had come; -never if it is not down for that.
   double fellAt() const { return fellAt_; }
   // Why it does not count as up: "check bfd failed: Down, 3 in a row". Empty if it does.
   std::string const& failure() const { return failure_; }

 private:
   bool isOfResults() const { return last_ == CheckResult::pass || last_ == CheckResult::fail; }
   void become( bool isUp, std::string why );

   CheckSettings settings_;
   bool isUp_;
   bool hasVerdict_ = false;
   // From handleLoss() to the next verdict; `wasUp_` is `isUp_` before the loss.
   bool isLost_ = false, wasUp_ = false;
   CheckResult last_ = CheckResult::none;
   std::string reason_;
   unsigned int run_ = 0;
   double since_;
   double fellAt_ = -never;
   double heardAt_ = never; // When the last word came.
   std::string failure_;
};

} // namespace Ufdd
