#pragma once

#include "platform/zet/AttributeId.h"

#include <utility>
#include <vector>

namespace Zet::NboAttrLog {

// The reader's state of one entity while collections of the entity are replayed.
class FlowIn {
 public:
   // Returns the collection whose replay began last, among the replays that are under way; 0 when
   // there are none.
   AttributeId aid() const noexcept { return aid_; }
   void aidIs( AttributeId id ) {
      aidDel( id );
      if ( AttributeId const earlier = std::exchange( aid_, id ) )
         earlier_.push_back( earlier );
   }
   // Ends the replay of that collection.
   void aidDel( AttributeId id ) noexcept {
      std::erase( earlier_, id );
      if ( id != aid_ )
         return;
      aid_ = earlier_.empty() ? 0 : earlier_.back();
      if ( aid_ != 0 )
         earlier_.pop_back();
   }
   // True while the members that the replay left out are removed: changes meanwhile are the log's
   // own.
   bool isHandlingTransaction() const noexcept { return handlingTransaction_; }
   void handlingTransactionIs( bool on ) noexcept { handlingTransaction_ = on; }

 private:
   AttributeId aid_ = 0;
   // The replays before the last. Empty, and so without memory, for one replay at a time, as our
   // writers send them.
   std::vector< AttributeId > earlier_;
   bool handlingTransaction_ = false;
};

} // namespace Zet::NboAttrLog
