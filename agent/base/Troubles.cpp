#include "agent/base/Troubles.h"

#include "platform/zet/Clock.h"

#include <utility>

namespace Ufdd {

void
Troubles::add( std::string text ) {
   last_ = std::move( text );
   ++count_;
}

void
Troubles::report() {
   if ( count_ == 0 || Zet::now() < quietUntil_ )
      return;
   log_.event( { .id = LogEvent::trouble },
               count_ == 1 ? last_
                           : last_ + ", the last of " + std::to_string( count_ ) + " in a second" );
   count_ = 0;
   quietUntil_ = Zet::now() + pause;
}

std::optional< double >
Troubles::nextTime() const {
   return count_ == 0 ? std::nullopt : std::optional( quietUntil_ );
}

} // namespace Ufdd
