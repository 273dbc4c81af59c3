#pragma once

#include "platform/zet/AttributeId.h"

namespace Zet::NboAttrLog {

// What a reader knows of one entity while one of its collections is replayed.
class FlowIn {
 public:
   // The collection.
   AttributeId aid() const noexcept { return aid_; }
   void aidIs( AttributeId id ) noexcept { aid_ = id; }
   // Set while the members are removed that the replay left out: what changes meanwhile is the
   // log's own doing.
   bool isHandlingTransaction() const noexcept { return handlingTransaction_; }
   void handlingTransactionIs( bool on ) noexcept { handlingTransaction_ = on; }

 private:
   AttributeId aid_ = 0;
   bool handlingTransaction_ = false;
};

} // namespace Zet::NboAttrLog
