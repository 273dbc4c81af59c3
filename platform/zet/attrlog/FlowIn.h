#pragma once

#include "platform/zet/AttributeId.h"

#include <utility>
#include <vector>

namespace Zet::NboAttrLog {

// What a reader knows of one entity while collections of it are replayed.
class FlowIn {
 public:
   // The collection whose replay began last, of those whose replay is not over; 0 when all are.
   AttributeId aid() const noexcept { return aid_; }
   void aidIs( AttributeId id ) {
      aidDel( id );
      if ( AttributeId const earlier = std::exchange( aid_, id ) )
         earlier_.push_back( earlier );
   }
   // The replay of that collection is over.
   void aidDel( AttributeId id ) noexcept {
      std::erase( earlier_, id );
      if ( id != aid_ )
         return;
      aid_ = earlier_.empty() ? 0 : earlier_.back();
      if ( aid_ != 0 )
         earlier_.pop_back();
   }
   // Set while the members are removed that the replay left out: what changes meanwhile is the
   // log's own doing.
   bool isHandlingTransaction() const noexcept { return handlingTransaction_; }
   void handlingTransactionIs( bool on ) noexcept { handlingTransaction_ = on; }

 private:
   AttributeId aid_ = 0;
   // Nothing is allocated for one replay at a time, as our writers do it.
   std::vector< AttributeId > earlier_;
   bool handlingTransaction_ = false;
};

} // namespace Zet::NboAttrLog
