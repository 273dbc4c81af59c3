#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/Export.h"

#include <vector>

namespace Zet::NboAttrLog {

// The records that one adapter has still to write once its output has room again. A demuxer queues
// the flows that have something to write, in the order of their turns.
class ZET_EXPORT FlowOut : public PtrInterface {
 public:
   // Borrows: the adapter, which clears its pointer here before it goes.
   explicit FlowOut( Entity::ZetNboAttrLogSa& adapter ) noexcept : adapter_( &adapter ) {}

   Entity::ZetNboAttrLogSa* adapter() const noexcept { return adapter_; }
   void adapterIs( Entity::ZetNboAttrLogSa* adapter ) noexcept { adapter_ = adapter; }

   // Returns true if anything is left to write.
   virtual bool hasDirtyAttributes() const { return orphanIsDue_ || !pendingAborts_.empty(); }
   // Marks everything to be written. Replays begin at their first member.
   virtual void restart() {}

   // Returns true if a change may be written now. A replay under way does not matter: it goes on
   // behind the change.
   bool prepareImmediateTransmission( AttributeId, bool outputIsFull ) const {
      return !outputIsFull && adapter_;
   }
   // Returns true if the flow may go on to the next record.
   bool continueFlowOut() const;

   // True if, since this was last cleared, a record was refused or not written for lack of room.
   bool isBlocked() const noexcept { return blocked_; }
   void blockedIs( bool blocked ) noexcept { blocked_ = blocked; }

   // The attribute that is being written, or that was deferred last.
   AttributeId attrId() const noexcept { return attrId_; }
   void attrIdIs( AttributeId id ) noexcept { attrId_ = id; }
   // The attribute from which the flow goes on.
   AttributeId resumeId() const noexcept { return resumeId_; }
   void resumeIdIs( AttributeId id ) noexcept { resumeId_ = id; }

   // True while the record that announces a root is still to be written.
   bool isOrphanDue() const noexcept { return orphanIsDue_; }
   void orphanDueIs( bool due ) noexcept { orphanIsDue_ = due; }

   // The replays that were given up after their opening marker. The reader is still to be told of
   // them.
   std::vector< AttributeId > const& pendingAborts() const noexcept { return pendingAborts_; }
   void pendingAbortIs( AttributeId id );
   void pendingAbortDel() { pendingAborts_.erase( pendingAborts_.begin() ); }

   // True while the flow is in its demuxer's queue.
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
