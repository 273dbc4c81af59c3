#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/attrlog/EntityId.h"

namespace Zet {

// The state that a channel of messages, beside the log, keeps of one entity.
class MsgChannelEntry {
 public:
   // The entity is in step with its peer.
   static constexpr unsigned int inStep = 3;
   unsigned int mode() const noexcept { return mode_; }
   void modeIs( unsigned int mode ) noexcept { mode_ = mode; }

 private:
   unsigned int mode_ = 0;
};

// The channel of messages about entities between two processes.
class ZET_EXPORT MsgChannel : public PtrInterface {
 public:
   using Entry = MsgChannelEntry;

   // Announces an id while it lives: the child of that name under `parent` has that id. Scopes
   // nest.
   class ZET_EXPORT DeserializingEidAnchor {
    public:
      DeserializingEidAnchor( EntityId id, Entity const& parent, Name child ) noexcept
          : id_( id ), parent_( &parent ), child_( std::move( child ) ), outer_( innermost_ ) {
         innermost_ = this;
      }
      DeserializingEidAnchor( DeserializingEidAnchor const& ) = delete;
      DeserializingEidAnchor& operator=( DeserializingEidAnchor const& ) = delete;
      ~DeserializingEidAnchor() { innermost_ = outer_; }

      // Returns the id that is announced for that child; the empty id when none is announced.
      static EntityId announced( Entity const& child );

    private:
      static DeserializingEidAnchor const* innermost_;

      EntityId id_;
      Entity const* parent_;
      Name child_;
      DeserializingEidAnchor const* outer_;
   };
};

} // namespace Zet
