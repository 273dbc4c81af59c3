#include "platform/zet/attrlog/MsgChannel.h"

namespace Zet {

MsgChannel::DeserializingEidAnchor const* MsgChannel::DeserializingEidAnchor::innermost_ = nullptr;

EntityId
MsgChannel::DeserializingEidAnchor::announced( Entity const& child ) {
   return innermost_ && child.parent() == innermost_->parent_ &&
                  child.zetName() == innermost_->child_
              ? innermost_->id_
              : EntityId{};
}

} // namespace Zet
