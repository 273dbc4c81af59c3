#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/attrlog/AdapterTable.h"
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

// One connection: its output, its input, the adapters of the entities that it replicates, and the
// queue of those that wait to write. It owns the adapters of root entities; they own those of
// children.
//
// The host moves the bytes. It sends out()->unsent() and calls handleRoom() when some bytes have
// been sent. It passes received bytes to in()->receive(). Dropping the demuxer ends the connection.
class ZET_EXPORT Demuxer : public PtrInterface {
 public:
   // The two ends of a connection. Each gives out its own entity ids.
   enum class Side : std::uint32_t { server = 0, client = 1 };

   // Supplies the roots that a peer announces.
   class Roots {
    public:
      // Returns the entity of that type and name, new or not. Null refuses the root and ends the
      // connection. An entity that already has an adapter for the connection keeps it, with its
      // flags.
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

   // Sets the supplier of roots. Without one, a peer can announce no root. Borrows: cleared, or
   // outlives the connection.
   void rootsIs( Roots* roots ) noexcept { roots_ = roots; }
   // Says whether a peer may make entities nondestructing and destructing again. A nondestructing
   // entity is not counted: turn this off for a peer that is not trusted with our memory.
   void peerSetsNondestructingIs( bool on ) noexcept { peerSetsNondestructing_ = on; }
   bool peerSetsNondestructing() const noexcept { return peerSetsNondestructing_; }

   // Returns the number of records with unknown enumeration values. Those values were stored
   // nevertheless.
   unsigned int unknownEnums() const noexcept { return unknownEnums_; }
   void unknownEnumsInc( unsigned int by ) noexcept { unknownEnums_ += by; }

   // Return the adapter of that id, or of that entity, in this connection; null if there is none.
   Entity::ZetNboAttrLogSa* adapter( EntityId id ) const noexcept;
   Entity::ZetNboAttrLogSa* adapter( Entity const& entity ) const noexcept;
   // Registers the adapter under that id. An empty id leaves the adapter without one.
   // Requires: the id is free.
   void adapterIs( Entity::ZetNboAttrLogSa& adapter, EntityId id );
   void adapterDel( Entity::ZetNboAttrLogSa& adapter ) noexcept;
   // Retires the id: records for it that are still on their way are ignored.
   void retire( EntityId id );
   // Returns an id that this connection has never used, for a new entity. Returns `relayed`, the
   // entity's id in another connection, if this side may give it out and it is above all ids that
   // this side gave out.
   EntityId idFor( EntityId relayed ) noexcept;
   // Reserves an id: the peer is about to have an entity of that id, so this side must not give it
   // out.
   void expectedIdIs( EntityId id ) noexcept { expectedId_ = id; }
   // Owns: the adapter of a root.
   void rootAdapterIs( Ptr< Entity::ZetNboAttrLogSa > adapter );
   // Releases the adapter of a root. Returns true if the adapter was held.
   bool rootAdapterDel( Entity::ZetNboAttrLogSa const& adapter ) noexcept;

   FlowIn* flowIn( EntityId id ) noexcept;
   FlowIn& flowInIs( EntityId id ) { return flowIns_[ id ]; }
   void flowInDel( EntityId id ) noexcept { flowIns_.erase( id ); }
   // Gives up the replays that the peer has opened of the adapter's entity. They will not be
   // completed. Unmarks their members.
   void abortReplays( Entity::ZetNboAttrLogSa& adapter );

   // Gives the adapter a flow unless it has one, and queues the flow.
   void createFlowOut( Entity::ZetNboAttrLogSa& adapter, ConnectDesc const& description,
                       bool remote, AttributeId last );
   void schedule( FlowOut& flow );
   // Lets the flow write while there is room. Schedules the rest.
   void flow( FlowOut& flow );
   // Lets each waiting flow write in its turn. Called after bytes of the output have been sent.
   void handleRoom();
   // Returns true if any flow waits.
   bool hasFlow() const noexcept { return !queue_.empty(); }

   // Handles one record of the peer. Throws: MalformedException.
   void handleRecord( MsgHeader const& header, In& in );
   // If `drop`, ends the adapter of that id when its entity is not `member` and has no parent.
   void checkEphemeralEntityDeletion( Ptr< Entity > const& member, EntityId id, bool drop );

 protected:
   ~Demuxer() override;

 private:
   void handleStranger( MsgHeader const& header, In& in );
   void retireChild( MsgHeader const& header, In& in );
   void handleOrphan( In& in );
   bool isRetired( EntityId id ) const noexcept;

   Side side_;
   Ptr< Out > out_;
   Ptr< In > in_;
   Roots* roots_ = nullptr;
   bool peerSetsNondestructing_ = true;
   unsigned int unknownEnums_ = 0;
   std::uint32_t lastSerial_ = 0;
   EntityId expectedId_;

   AdapterTable< Entity::ZetNboAttrLogSa > byId_;
   std::unordered_map< Entity const*, Entity::ZetNboAttrLogSa* > byEntity_;
   std::vector< Ptr< Entity::ZetNboAttrLogSa > > rootAdapters_;
   std::unordered_map< EntityId, FlowIn > flowIns_;
   std::deque< Ptr< FlowOut > > queue_;
   // The newest ids that were retired here, and the ones before: records for them may still be on
   // their way. When the newest are too many, they replace the ones before, which are forgotten.
   std::unordered_set< EntityId > retired_;
   std::unordered_set< EntityId > retiredBefore_;
};

// Returns every demuxer of this process. Valid until: a demuxer is made or destroyed.
ZET_EXPORT std::span< Demuxer* const > allDemuxers() noexcept;
// Returns the demuxer of the reader in this process that the output is connected to, or null.
ZET_EXPORT Demuxer* demuxFor( Out const& out ) noexcept;

} // namespace Zet::NboAttrLog
