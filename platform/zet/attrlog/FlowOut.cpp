#include "platform/zet/attrlog/FlowOut.h"

#include "platform/zet/attrlog/Out.h"
#include "platform/zet/attrlog/StreamAdapter.h"

#include <algorithm>

namespace Zet::NboAttrLog {

FlowOut::~FlowOut() = default;

bool
FlowOut::continueFlowOut() const {
   return adapter_ && adapter_->nboAttrLogOut() && adapter_->nboAttrLogOut()->hasSufficientBuffer();
}

void
FlowOut::pendingAbortIs( AttributeId id ) {
   if ( std::find( pendingAborts_.begin(), pendingAborts_.end(), id ) == pendingAborts_.end() )
      pendingAborts_.push_back( id );
}

} // namespace Zet::NboAttrLog
