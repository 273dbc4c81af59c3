#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/attrlog/ConnectDesc.h"
#include "platform/zet/attrlog/FlowIn.h"
#include "platform/zet/attrlog/FlowOut.h"
#include "platform/zet/attrlog/In.h"
#include "platform/zet/attrlog/Out.h"
#include "platform/zet/attrlog/StreamAdapter.h"

#include <deque>
#include <optional>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Zet::NboAttrLog {

// One connection: its output, its input, the adapters of the entities that it replicates, and
// whose turn it is to write. It owns the adapters of root entities, which own those of children.
//
// The host moves the bytes. It sends out()->unsent() and calls handleRoom() when some are gone; it
// hands what it receives to in()->receive(). Dropping the demuxer ends the connection.
class ZET_EXPORT Demuxer : public PtrInterface {
 public:
   // Which of the two ends; each gives out entity ids of its own.
   enum class Side : std::uint32_t { server = 0, client = 1 };

   // Where the roots that a peer announces come from.
   class Roots {
    public:
      // The entity of that type and name, new or not; null for one that is not wanted, which ends
      // the connection. One that has an adapter for the connection keeps it, with its flags.
      virtual Ptr< Entity > root( TypeId type, Name const& name ) = 0;

    protected:
      ~Roots() = default;
   };

   Demuxer( Side side, std::size_t outputCapacity );
   static Ptr< Demuxer > DemuxerIs( Side side, std::size_t outputCapacity ) {
      return make< Demuxer >( side, outputCapacity );
   }

   Ptr< Out > const& out() const noexcept { return out_; }
   Ptr< In > const& in() const noexcept { return in_; }

   // Without roots a peer can announce none. Borrows: cleared, or outlives the connection.
   void rootsIs( Roots* roots ) noexcept { roots_ = roots; }
   // Whether a peer may make entities nondestructing and destructing again. An entity that is
   // nondestructing is not counted: off for a peer that is not trusted with our memory.
   void peerSetsNondestructingIs( bool on ) noexcept { peerSetsNondestructing_ = on; }
   bool peerSetsNondestructing() const noexcept { return peerSetsNondestructing_; }

   // Records of unknown enumeration values, which were stored all the same.
   unsigned int unknownEnums() const noexcept { return unknownEnums_; }
   void unknownEnumsInc( unsigned int by ) noexcept { unknownEnums_ += by; }

   // The adapter of that id, or of that entity, in this connection; or null.
   Entity::ZetNboAttrLogSa* adapter( EntityId id ) const noexcept;
   Entity::ZetNboAttrLogSa* adapter( Entity const& entity ) const noexcept;
   // Takes the adapter in, and calls it by that id, or by one of ours.
   // Requires: the id is free.
   void adapterIs( Entity::ZetNboAttrLogSa& adapter, EntityId id );
   void adapterDel( Entity::ZetNboAttrLogSa& adapter ) noexcept;
   // Records for that id may be on their way; they are ignored.
   void retire( EntityId id );
   // Returns an id for a new entity, which this connection has never used: `relayed`, the id of the
   // entity in another connection, if it is ours to give and above all that we gave out.
   EntityId idFor( EntityId relayed ) noexcept;
   // Ours to give no more: the peer is about to have an entity called by that id.
   void expectedIdIs( EntityId id ) noexcept { expectedId_ = id; }
   // Owns: the adapter of a root.
   void rootAdapterIs( Ptr< Entity::ZetNboAttrLogSa > adapter );
   // True when it was held.
   bool rootAdapterDel( Entity::ZetNboAttrLogSa const& adapter ) noexcept;

   FlowIn* flowIn( EntityId id ) noexcept;
   FlowIn& flowInIs( EntityId id ) { return flowIns_[ id ]; }
   void flowInDel( EntityId id ) noexcept { flowIns_.erase( id ); }
   // Gives up the replays of the adapter's entity that the peer has opened: they will not be
   // completed, and no member of theirs stays marked.
   void abortReplays( Entity::ZetNboAttrLogSa& adapter );

   // Gives the adapter a flow unless it has one, and puts it in the queue.
   void createFlowOut( Entity::ZetNboAttrLogSa& adapter, ConnectDesc const& description,
                       bool remote, AttributeId last );
   void schedule( FlowOut& flow );
   // Lets the flow write as long as there is room; what remains is scheduled.
   void flow( FlowOut& flow );
   // Lets those write that wait, each in its turn. Called when the output has been emptied some.
   void handleRoom();
   // Whether anything waits.
   bool hasFlow() const noexcept { return !queue_.empty(); }

   // One record of the peer. Throws: MalformedException.
   void handleRecord( MsgHeader const& header, In& in );
   // Drops the entity that was announced under that id without a place in any tree, when the
   // member is the one that is meant.
   void checkEphemeralEntityDeletion( Ptr< Entity > const& member, EntityId id, bool drop );

 protected:
   ~Demuxer() override;

 private:
   void handleStranger( MsgHeader const& header, In& in );
   void retireChild( MsgHeader const& header, In& in );
   void handleOrphan( In& in );
   Entity::ZetNboAttrLogSa* target( EntityId id ) noexcept;
   bool isRetired( EntityId id ) const noexcept;

   Side side_;
   Ptr< Out > out_;
   Ptr< In > in_;
   Roots* roots_ = nullptr;
   bool peerSetsNondestructing_ = true;
   unsigned int unknownEnums_ = 0;
   std::uint32_t lastSerial_ = 0;
   EntityId expectedId_;

   std::unordered_map< EntityId, Entity::ZetNboAttrLogSa* > byId_;
   // Of the last record: the next is often of the same entity. Null when it has left.
   Entity::ZetNboAttrLogSa* last_ = nullptr;
   std::unordered_map< Entity const*, Entity::ZetNboAttrLogSa* > byEntity_;
   std::vector< Ptr< Entity::ZetNboAttrLogSa > > rootAdapters_;
   std::unordered_map< EntityId, FlowIn > flowIns_;
   std::deque< Ptr< FlowOut > > queue_;
   // The newest ids that were given up here, and those before them: their records may still be on
   // their way. The older are forgotten all at once when the newest are too many.
   std::unordered_set< EntityId > retired_;
   std::unordered_set< EntityId > retiredBefore_;
};

// Every demuxer of this process. Valid until: the next demuxer comes or goes.
ZET_EXPORT std::span< Demuxer* const > allDemuxers() noexcept;
// That of the reader in this process that the output is connected to; null when there is none.
ZET_EXPORT Demuxer* demuxFor( Out const& out ) noexcept;

} // namespace Zet::NboAttrLog
