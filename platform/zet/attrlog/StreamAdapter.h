#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/NotifieeConst.h"
#include "platform/zet/attrlog/EntityId.h"
#include "platform/zet/attrlog/FlowOut.h"
#include "platform/zet/attrlog/Out.h"

#include <initializer_list>
#include <vector>

namespace Zet {

struct ConnectDesc;
class MsgChannelEntry;

// Ids that only the attribute log knows.
inline constexpr AttributeId syncModeAttributeId = 135;
inline constexpr AttributeId orphanAttributeId = 136;
inline constexpr AttributeId replayRequestAttributeId = -144;

namespace NboAttrLog {
class Demuxer;
class FlowIn;
class In;
} // namespace NboAttrLog

// A notifiee that turns what it hears into a stream.
class ZET_EXPORT StreamAdapter : public PtrInterface::NotifieeConst {
 public:
   // The replay of a collection begins, is given up, is complete.
   enum class AttrTransactionType : std::uint8_t { open = 0, abort = 1, close = 2 };
   // How far a replica is: `inStep` says that all that the source had has been sent.
   enum class SyncMode : std::uint32_t { filling = 0, inStep = 1, lost = 2 };
   struct DeserializationOptions {
      // The header says that the record creates an entity.
      bool createsEntity = false;
   };

   bool isStreamAdapter() const override { return true; }
};

// Throws: RangeException "SyncMode" for a number that is none.
ZET_EXPORT StreamAdapter::SyncMode SyncModeInstance( unsigned int number );

// The adapter of one entity in one connection: the reactor that writes the entity's changes and
// applies those that are received. Its notifiee is told of a change before all others.
//
// This part knows no types. What it needs of the entity's attributes is in the overrides.
class ZET_EXPORT Entity::ZetNboAttrLogSa : public StreamAdapter {
 public:
   // The places in the flag word that the log uses.
   enum Bit : unsigned int {
      readOnlyBit = 2,       // A local change has to be converted to writable first.
      readOnlyRemoteBit = 3, // So has a received one.
      applyingBit = 4,       // A received record is applied: its change is not written back.
      awaitsIdBit = 5,       // The reader has not named the entity yet; nothing is written.
      silentBit = 8,         // Nothing is written.
      deafBit = 13,          // Changes are ignored: the sync mode is being changed.
      deferredBit = 20,      // See AttachFlag::deferred.
      flowingBit = 22,       // The scheduled flow is running.
      announcedBit = 25,     // The record that creates the child is not written.
      writesBit = 26,        // Without it nothing is written.
   };

   // The `flags` of attaching.
   enum AttachFlag : unsigned int {
      asChild = 1,   // The parent's adapter owns this one.
      deferred = 2,  // Has a flow only while there is something to defer.
      authority = 4, // What a peer sends is not applied but answered with the current value.
   };

   // How far the peer has been told.
   enum class State { attached = 0, announced = 1, live = 2 };

   ZetNboAttrLogSa();
   // Borrows: the owner, whatever it is, as long as this lives.
   ZetNboAttrLogSa( Zet_BitSet mask, unsigned int flags, Ptr< NboAttrLog::Out > out,
                    PtrInterface* owner );

   // Writes what the flow holds, beginning with attribute `startId`. The id to go on from; 0 when
   // nothing is left.
   virtual AttributeId handleAttrFlowOut( AttributeId startId );
   // Frees the place in a replay from which the flow would go on.
   virtual void freeResyncState( Ptr< NboAttrLog::FlowOut > const& flow );
   // The first step of writing the entity as a whole: its children.
   virtual void zetInstantiateSerialize();
   virtual Ptr< Entity const > zetNotifierEntity() const;
   virtual Ptr< Entity > zetNotifierEntity();
   // Announces a root entity to the peer and writes it as a whole. What has no room follows.
   virtual void doSerializeOrphan();
   // Reads and applies one record's payload. Without `in` it is that of the adapter's output;
   // with it the record is not applied but answered.
   // Requires: the caller holds the adapter, which the record may end.
   // Throws: InternalException, NboAttrLog::MalformedException; nothing is applied then.
   virtual void handleAttrDeserialization( AttributeId id, DeserializationOptions options,
                                           unsigned int n, Ptr< NboAttrLog::In > const& in );
   virtual void handleAttrTransaction( AttributeId id, AttrTransactionType type, unsigned int n );
   virtual Ptr< NboAttrLog::FlowOut > flowOutIs( Ptr< NboAttrLog::Out > const& out,
                                                 ConnectDesc const& description, bool remote,
                                                 AttributeId last );
   // Runs the handler of that attribute; `key` points to the key of a collection's member.
   virtual void doNotification( AttributeId id, void* key );
   virtual void syncModeIs( SyncMode mode );
   virtual void zetDoZombieReactors( bool zombie );
   // Moves the adapter to another output, or to none.
   virtual void doRemountSelf( Ptr< NboAttrLog::Out > const& out );

   // Takes the adapter into its output's demuxer. Once is enough.
   void zetOnInit();
   // Has the entity written as a whole, its replays from their beginning.
   void doThis();
   // Ends the adapter: it leaves the entity and its owner's hold.
   void end();

   Ptr< NboAttrLog::Out > const& nboAttrLogOut() const noexcept { return out_; }
   // Null when there is no output, or its connection has ended.
   NboAttrLog::Demuxer* demuxer() const noexcept { return out_ ? out_->demuxer() : nullptr; }
   Ptr< NboAttrLog::FlowOut > const& flowOut() const noexcept { return flowOut_; }
   EntityId entityId() const noexcept { return entityId_; }
   // Calls the entity by that id, which the peer knows.
   void doEntityIdIs( EntityId id, NboAttrLog::Demuxer& demuxer, bool isKnownToPeer );
   // Used by the demuxer alone.
   void entityIdIs( EntityId id ) noexcept { entityId_ = id; }

   bool bit( Bit place ) const noexcept { return zet_bitSet().bit( place ); }
   void bitIs( Bit place, bool on ) noexcept { NotifieeConst::bitIs( place, on ); }
   bool isFlowing() const noexcept { return bit( flowingBit ); }
   // Replaces those bits of the flag word that are the notification mask's.
   void notificationMaskIs( Zet_BitSet mask );
   State state() const noexcept { return state_; }
   SyncMode syncMode() const noexcept { return syncMode_; }
   bool isAuthority() const noexcept { return authority_; }
   // Whether a read-only proxy may become writable when somebody writes.
   void convertibleIs( bool convertible ) noexcept { convertible_ = convertible; }
   // Makes a read-only proxy writable, where that is allowed or forced.
   bool convertedToWritable( bool force );
   // Borrows: the entry, until it is cleared.
   void msgChannelEntryIs( MsgChannelEntry* entry ) noexcept { msgChannelEntry_ = entry; }
   // Tells the peer how far its replica is. False when there was no room for it.
   bool syncModeSend( SyncMode mode );
   // Asks the peer to replay those attributes. False when there was no room for it.
   bool replayRequestSend( std::initializer_list< AttributeId > attributes );

   // The child's place among its parent's: the collection and the name.
   struct ChildKey {
      AttributeId attribute = 0;
      Name name;
      std::uint32_t hash() const noexcept {
         return name.hash() ^ static_cast< std::uint32_t >( attribute );
      }
      bool operator==( ChildKey const& other ) const noexcept {
         return attribute == other.attribute && name == other.name;
      }
      bool operator<( ChildKey const& other ) const noexcept {
         return attribute != other.attribute ? attribute < other.attribute : name < other.name;
      }
   };
   ChildKey const& zetKey() const noexcept { return childKey_; }

 protected:
   ~ZetNboAttrLogSa() override;

   // The records that are no attribute's of the type. Throws: NboAttrLog::MalformedException.
   void doBaseZetNboAttrLogSaMsg( AttributeId id, DeserializationOptions options, unsigned int n,
                                  NboAttrLog::In& in );
   // The attributes of a replay request, which is read whole.
   static std::vector< AttributeId > nextReplayRequest( NboAttrLog::In& in );
   // A peer asks for that attribute once more.
   virtual void handleReplayRequest( AttributeId id );
   void handleSyncMode( SyncMode mode );

   // Whether a change of that attribute is to be written at all. Where not, the bit is cleared
   // that says that it is a received one. Throws: ReadOnlyException.
   bool mayWrite( AttributeId id ) {
      if ( bit( deafBit ) )
         return false;
      if ( !bit( applyingBit ) )
         return mayWriteOwn( id );
      bitIs( applyingBit, false );
      return false;
   }
   // Whether the change comes from closing the replay of that collection.
   bool handlingFlowInFor( AttributeId id ) const;
   // Throws: InternalException when a peer may not write that attribute here.
   void requireWritable( AttributeId id ) {
      if ( bit( readOnlyRemoteBit ) )
         requireConvertible( id );
   }
   bool readOnlyRemoteOk( AttributeId id ) const noexcept;
   [[noreturn]] void doThrowReadOnly( AttributeId id );
   // The peer has to know a root before it is told anything of it: while the record that announces
   // the root is still to be written, there is room for nothing else.
   bool isUnannounced() const noexcept { return flowOut_ && flowOut_->isOrphanDue(); }
   // Whether any one record of the entity fits. Requires: an output.
   bool hasRoom() const noexcept { return !isUnannounced() && out_->hasSufficientBuffer(); }
   // False when it was refused.
   bool sendTransactionMarker( AttributeId id, AttrTransactionType type, unsigned int n );
   // Makes a flow if there is none, and has it take its turn.
   NboAttrLog::FlowOut* flowNeeded();
   void flowOutStore( Ptr< NboAttrLog::FlowOut > flow );
   // The output that payload comes from: `in`, or that of our output.
   NboAttrLog::In* inputFor( Ptr< NboAttrLog::In > const& in ) const noexcept {
      return in ? in.get() : out_ ? out_->in() : nullptr;
   }

   ZetNboAttrLogSa* childAdapter( ChildKey const& key ) const noexcept {
      return children_.find( key );
   }
   // Owns: the child's adapter, which replaces an earlier one.
   void childIs( ChildKey key, Ptr< ZetNboAttrLogSa > const& child );
   // Lets go of the child's adapter, which keeps no output.
   Ptr< ZetNboAttrLogSa > childDel( ChildKey const& key );
   // Gives a child the parent's manners.
   void doFixChildFlags( ZetNboAttrLogSa& child ) const;
   PtrInterface* owner() const noexcept { return owner_; }

 private:
   bool mayWriteOwn( AttributeId id );
   void requireConvertible( AttributeId id );

   Ptr< NboAttrLog::Out > out_;
   PtrInterface* owner_ = nullptr;
   EntityId entityId_;
   Ptr< NboAttrLog::FlowOut > flowOut_;
   State state_ = State::attached;
   SyncMode syncMode_ = SyncMode::filling;
   bool authority_ = false;
   bool convertible_ = false;
   bool thisIsDue_ = false;
   MsgChannelEntry* msgChannelEntry_ = nullptr;

   // The parent's adapter, which owns this one; null for a root's.
   ZetNboAttrLogSa* parent_ = nullptr;
   ChildKey childKey_;
   HashMap< ZetNboAttrLogSa, ChildKey > children_;

 public:
   ChainLink< ZetNboAttrLogSa > zetChainLink;
};

// Sets a bit of an adapter's flag word for the time of a scope.
class BitScope {
 public:
   using Adapter = Entity::ZetNboAttrLogSa;
   BitScope( Adapter& adapter, Adapter::Bit bit )
       : adapter_( adapter ), bit_( bit ), before_( adapter.bit( bit ) ) {
      adapter_.bitIs( bit_, true );
   }
   BitScope( BitScope const& ) = delete;
   BitScope& operator=( BitScope const& ) = delete;
   ~BitScope() { adapter_.bitIs( bit_, before_ ); }

 private:
   Adapter& adapter_;
   Adapter::Bit bit_;
   bool before_;
};

} // namespace Zet
