#pragma once

#include <algorithm>
#include <limits>

namespace Ufdd {

// The time for which a group must have been up before its ports are opened: recovery_delay, and
// twice as long after each further time that its ports were shut, up to recovery_delay_max. It is
// recovery_delay again once the ports have been open for recovery_delay_max. Times are in seconds,
// by Zet::now().
class RecoveryDelay {
 public:
   // Begins anew if one of the two differs. A recovery_delay above the maximum stays as it is, and
   // one of 0 stays 0.
   void configure( double delay, double max ) {
      if ( delay == configured_ && max == max_ )
         return;
      configured_ = seconds_ = delay;
      max_ = max;
   }
   double seconds() const { return seconds_; }
   bool isLengthened() const { return seconds_ > configured_; }
   // The ports are shut because the group went down at `since`.
   void handleShut( double since ) {
      bool const isFirst = since - openedAt_ >= max_;
      seconds_ = isFirst ? configured_ : std::min( 2 * seconds_, std::max( configured_, max_ ) );
   }
   void handleOpened( double now ) { openedAt_ = now; }

 private:
   double configured_ = 0;
   double max_ = 0;
   double seconds_ = 0;
   double openedAt_ = -std::numeric_limits< double >::infinity(); // Before the first time.
};

} // namespace Ufdd
