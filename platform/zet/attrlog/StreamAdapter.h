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

// Attribute ids that are known to the attribute log alone.
inline constexpr AttributeId syncModeAttributeId = 135;
inline constexpr AttributeId orphanAttributeId = 136;
inline constexpr AttributeId replayRequestAttributeId = -144;

namespace NboAttrLog {
class Demuxer;
class FlowIn;
class In;
} // namespace NboAttrLog

// A notifiee that writes its notifications into a stream.
class ZET_EXPORT StreamAdapter : public PtrInterface::NotifieeConst {
 public:
   // Marks of a collection's replay: it begins, is given up, is complete.
   enum class AttrTransactionType : std::uint8_t { open = 0, abort = 1, close = 2 };
   // The progress of a replica. `inStep` says that everything the source had has been sent.
   enum class SyncMode : std::uint32_t { filling = 0, inStep = 1, lost = 2 };
   struct DeserializationOptions {
      // True if the record's header says that the record creates an entity.
      bool createsEntity = false;
   };

   bool isStreamAdapter() const override { return true; }
};

// Returns the mode of that number. Throws: RangeException "SyncMode" for an unknown number.
ZET_EXPORT StreamAdapter::SyncMode SyncModeInstance( unsigned int number );

// The adapter of one entity in one connection. It writes the entity's changes and applies the
// received ones. Its notifiee hears of a change before all others.
//
// This class knows no types. Its overrides know the entity's attributes.
class ZET_EXPORT Entity::ZetNboAttrLogSa : public StreamAdapter {
 public:
   // The places of the log's bits in the flag word.
   enum Bit : unsigned int {
      readOnlyBit = 2,       // The adapter must become writable before a local change.
      readOnlyRemoteBit = 3, // The adapter must become writable before a received change.
      applyingBit = 4,       // A received record is being applied. Its change is not written back.
      awaitsIdBit = 5,       // The reader has not named the entity yet. Nothing is written.
      silentBit = 8,         // Nothing is written.
      deafBit = 13,          // Changes are ignored while the sync mode is changed.
      deferredBit = 20,      // See AttachFlag::deferred.
      flowingBit = 22,       // The scheduled flow is running.
      announcedBit = 25,     // The child needs no record that creates it.
      writesBit = 26,        // Nothing is written unless this is set.
   };

   // The `flags` of attaching.
   enum AttachFlag : unsigned int {
      asChild = 1,   // The parent's adapter owns this one.
      deferred = 2,  // Has no flow until something is deferred.
      authority = 4, // A peer's changes are not applied but answered with the current value.
   };

   // What the peer knows of the entity.
   enum class State { attached = 0, announced = 1, live = 2 };

   ZetNboAttrLogSa();
   // Borrows: the owner, for the life of this adapter.
   ZetNboAttrLogSa( Zet_BitSet mask, unsigned int flags, Ptr< NboAttrLog::Out > out,
                    PtrInterface* owner );

   // Writes the flow's records, beginning with attribute `startId`. Returns the id to go on from; 0
   // when nothing is left.
   virtual AttributeId handleAttrFlowOut( AttributeId startId );
   // Forgets the places in replays from which the flow would go on.
   virtual void freeResyncState( Ptr< NboAttrLog::FlowOut > const& flow );
   // Writes the entity's children: the first step of writing the whole entity.
   virtual void zetInstantiateSerialize();
   virtual Ptr< Entity const > zetNotifierEntity() const;
   virtual Ptr< Entity > zetNotifierEntity();
   // Announces a root entity to the peer, then writes the whole entity. Records without room follow
   // later.
   virtual void doSerializeOrphan();
   // Reads one record's payload and applies it. Null `in` stands for the input of the adapter's
   // connection. When `in` is given, the record is not applied but answered.
   // Requires: the caller holds the adapter, because the record may end it.
   // Throws: InternalException, NboAttrLog::MalformedException; nothing is applied then.
   virtual void handleAttrDeserialization( AttributeId id, DeserializationOptions options,
                                           unsigned int n, Ptr< NboAttrLog::In > const& in );
   virtual void handleAttrTransaction( AttributeId id, AttrTransactionType type, unsigned int n );
   virtual Ptr< NboAttrLog::FlowOut > flowOutIs( Ptr< NboAttrLog::Out > const& out,
                                                 ConnectDesc const& description, bool remote,
                                                 AttributeId last );
   // Runs the handler of that attribute. `key` points to the key of a collection's member.
   virtual void doNotification( AttributeId id, void* key );
   virtual void syncModeIs( SyncMode mode );
   virtual void zetDoZombieReactors( bool zombie );
   // Moves the adapter to another output, or to none.
   virtual void doRemountSelf( Ptr< NboAttrLog::Out > const& out );

   // Registers the adapter with its output's demuxer. Further calls do nothing.
   void zetOnInit();
   // Writes the whole entity, replays from their beginning. Records without room follow later.
   // Waits until the reader has named the entity.
   void doThis();
   // Ends the adapter: detaches it from the entity, the connection and the parent's adapter.
   void end();

   Ptr< NboAttrLog::Out > const& nboAttrLogOut() const noexcept { return out_; }
   // Returns null when there is no output or its connection has ended.
   NboAttrLog::Demuxer* demuxer() const noexcept { return out_ ? out_->demuxer() : nullptr; }
   Ptr< NboAttrLog::FlowOut > const& flowOut() const noexcept { return flowOut_; }
   EntityId entityId() const noexcept { return entityId_; }
   // Names the entity by that id. `isKnownToPeer` says whether the peer knows the entity by it.
   void doEntityIdIs( EntityId id, NboAttrLog::Demuxer& demuxer, bool isKnownToPeer );
   // Called by the demuxer alone.
   void entityIdIs( EntityId id ) noexcept { entityId_ = id; }

   bool bit( Bit place ) const noexcept { return zet_bitSet().bit( place ); }
   void bitIs( Bit place, bool on ) noexcept { NotifieeConst::bitIs( place, on ); }
   bool isFlowing() const noexcept { return bit( flowingBit ); }
   // Replaces the bits of the flag word that belong to the notification mask.
   void notificationMaskIs( Zet_BitSet mask );
   State state() const noexcept { return state_; }
   SyncMode syncMode() const noexcept { return syncMode_; }
   bool isAuthority() const noexcept { return authority_; }
   // Says whether a read-only adapter becomes writable at the first write.
   void convertibleIs( bool convertible ) noexcept { convertible_ = convertible; }
   // Makes a read-only adapter writable. Returns false when that is neither allowed nor forced.
   bool convertedToWritable( bool force );
   // Sets the channel's entry of this entity. Borrows: the entry, until it is cleared.
   void msgChannelEntryIs( MsgChannelEntry* entry ) noexcept { msgChannelEntry_ = entry; }
   // Tells the peer the progress of its replica. Returns false without room or connection.
   bool syncModeSend( SyncMode mode );
   // Asks the peer to replay those attributes. Returns false without room or connection.
   bool replayRequestSend( std::initializer_list< AttributeId > attributes );

   // The child's key in its parent's adapter: the collection and the name.
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

   // Handles a record that is of none of the type's attributes. Throws:
   // NboAttrLog::MalformedException.
   void doBaseZetNboAttrLogSaMsg( AttributeId id, DeserializationOptions options, unsigned int n,
                                  NboAttrLog::In& in );
   // Reads a whole replay request and returns its attributes.
   static std::vector< AttributeId > nextReplayRequest( NboAttrLog::In& in );
   // Answers a peer's request to replay that attribute.
   virtual void handleReplayRequest( AttributeId id );
   void handleSyncMode( SyncMode mode );

   // Returns true if a change of that attribute is to be written. A received change is not: returns
   // false and clears applyingBit. Throws: ReadOnlyException.
   bool mayWrite( AttributeId id ) {
      if ( bit( deafBit ) )
         return false;
      if ( !bit( applyingBit ) )
         return mayWriteOwn( id );
      bitIs( applyingBit, false );
      return false;
   }
   // Returns true if the change comes from closing the replay of that collection.
   bool handlingFlowInFor( AttributeId id ) const;
   // Throws InternalException when a peer may not write that attribute here.
   void requireWritable( AttributeId id ) {
      if ( bit( readOnlyRemoteBit ) )
         requireConvertible( id );
   }
   bool readOnlyRemoteOk( AttributeId id ) const noexcept;
   [[noreturn]] void doThrowReadOnly( AttributeId id );
   // Returns true while the record that announces a root is still to be written. The peer must know
   // the root first, so there is no room for other records until then.
   bool isUnannounced() const noexcept { return flowOut_ && flowOut_->isOrphanDue(); }
   // Returns true if any one record of the entity fits. Requires: an output.
   bool hasRoom() const noexcept { return !isUnannounced() && out_->hasSufficientBuffer(); }
   // Writes the marker. Returns false when it was refused.
   bool sendTransactionMarker( AttributeId id, AttrTransactionType type, unsigned int n );
   // Returns the flow, scheduled. Makes it if there is none.
   NboAttrLog::FlowOut* flowNeeded();
   void flowOutStore( Ptr< NboAttrLog::FlowOut > flow );
   // Returns the input that the payload comes from: `in`, or the input of our output.
   NboAttrLog::In* inputFor( Ptr< NboAttrLog::In > const& in ) const noexcept {
      return in ? in.get() : out_ ? out_->in() : nullptr;
   }

   ZetNboAttrLogSa* childAdapter( ChildKey const& key ) const noexcept {
      return children_.find( key );
   }
   // Adds the child's adapter. Replaces an earlier one. Owns: the child's adapter.
   void childIs( ChildKey key, Ptr< ZetNboAttrLogSa > const& child );
   // Removes the child's adapter and moves it to no output.
   Ptr< ZetNboAttrLogSa > childDel( ChildKey const& key );
   // Gives a child's adapter the parent's flags.
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

   // The parent's adapter, which owns this one; null for a root's adapter.
   ZetNboAttrLogSa* parent_ = nullptr;
   ChildKey childKey_;
   HashMap< ZetNboAttrLogSa, ChildKey > children_;

 public:
   ChainLink< ZetNboAttrLogSa > zetChainLink;
};

// Sets a bit of an adapter's flag word until the scope ends.
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
