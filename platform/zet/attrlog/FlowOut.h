#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/Export.h"

#include <vector>

namespace Zet::NboAttrLog {

// What one adapter has still to write once its output has room again. A demuxer holds those that
// have something to write in the order of their turns.
class ZET_EXPORT FlowOut : public PtrInterface {
 public:
   // Borrows: the adapter, which clears itself here before it goes.
   explicit FlowOut( Entity::ZetNboAttrLogSa& adapter ) noexcept : adapter_( &adapter ) {}

   Entity::ZetNboAttrLogSa* adapter() const noexcept { return adapter_; }
   void adapterIs( Entity::ZetNboAttrLogSa* adapter ) noexcept { adapter_ = adapter; }

   // Whether anything is left to write.
   virtual bool hasDirtyAttributes() const { return orphanIsDue_ || !pendingAborts_.empty(); }
   // Everything is to be written, replays from their first member.
   virtual void restart() {}

   // Whether a change of that attribute may be written now. A replay under way does not matter: it
   // goes on behind the change.
   bool prepareImmediateTransmission( AttributeId, bool outputIsFull ) const {
      return !outputIsFull && adapter_;
   }
   // Whether the flow may go on to the next record.
   bool continueFlowOut() const;

   // A record was refused, or not written for lack of room, since this was last cleared.
   bool isBlocked() const noexcept { return blocked_; }
   void blockedIs( bool blocked ) noexcept { blocked_ = blocked; }

   // The attribute being written, or deferred last.
   AttributeId attrId() const noexcept { return attrId_; }
   void attrIdIs( AttributeId id ) noexcept { attrId_ = id; }
   // Where the flow goes on.
   AttributeId resumeId() const noexcept { return resumeId_; }
   void resumeIdIs( AttributeId id ) noexcept { resumeId_ = id; }

   // The record that announces a root is still to be written.
   bool isOrphanDue() const noexcept { return orphanIsDue_; }
   void orphanDueIs( bool due ) noexcept { orphanIsDue_ = due; }

   // Replays that were given up after their opening marker: the reader is to be told.
   std::vector< AttributeId > const& pendingAborts() const noexcept { return pendingAborts_; }
   void pendingAbortIs( AttributeId id );
   void pendingAbortDel() { pendingAborts_.erase( pendingAborts_.begin() ); }

   // In its demuxer's queue.
   bool isScheduled() const noexcept { return scheduled_; }
   void scheduledIs( bool scheduled ) noexcept { scheduled_ = scheduled; }

 protected:
   ~FlowOut() override;

 private:
   Entity::ZetNboAttrLogSa* adapter_;
   AttributeId attrId_ = 0;
   AttributeId resumeId_ = 0;
   bool orphanIsDue_ = false;
   bool blocked_ = false;
   bool scheduled_ = false;
   std::vector< AttributeId > pendingAborts_;
};

} // namespace Zet::NboAttrLog
