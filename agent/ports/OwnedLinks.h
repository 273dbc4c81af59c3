#pragma once

#include "agent/base/Log.h"
#include "agent/ports/OwnedLinkStore.h"
#include "agent/ports/UnreadRecords.h"

#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <vector>

namespace Ufdd {

// The links that are ours: shut by us and not opened since. Each is known by its index, with its
// present name, since another link that gets the name is not ours to open. Holds the overrides as
// well: links that were ours, but that others opened so often that ufdd leaves them open.
class OwnedLinks {
 public:
   // Borrows: both.
   OwnedLinks( OwnedLinkStore& store, Log& log ) : store_( store ), log_( log ), unread_( log ) {}

   // Decides whether a link that has appeared is ours. It is if it has our mark, the bit `reason`
   // among the reasons for its protodown. Between beginAdoption() and endAdoption() it also is if a
   // former process shut it and nobody has changed that. A link with another hardware address than
   // recorded was probably made anew meanwhile, and is not ours. The permanent address counts,
   // which no operator changes. A link without one (as those of bridges, VLANs and veth) is known
   // by its present address: if an operator changes that while no ufdd runs, the port is left shut,
   // and the log says how to open it.
   void adopt( Link const& link, unsigned int reason );
   void beginAdoption();
   void endAdoption();

   // Null when it is not ours. Valid until: the next change.
   OwnedLink const* find( std::uint32_t index ) const;
   bool contains( std::uint32_t index ) const { return find( index ) != nullptr; }
   auto begin() const { return owned_.begin(); }
   auto end() const { return owned_.end(); }
   std::size_t count() const { return owned_.size(); }
   // Returns true if a former process set the link administratively down, and others had set it up
   // when this one began.
   bool wasFoundOpen( std::uint32_t index ) const { return foundOpen_.contains( index ); }

   // Replaces the one of the same index.
   void insert( OwnedLink const& owned );
   void erase( std::uint32_t index );
   // Returns false when the link is not ours.
   bool rename( std::uint32_t index, InterfaceName const& name );
   void addressIs( std::uint32_t index, std::uint64_t address );
   // Logs how to open a link that others have moved to another network namespace. The kernel tells
   // that only afterwards, when the link is out of reach.
   void handleMoved( std::uint32_t index ) const;

   void insertOverride( OwnedLink owned );
   void eraseOverride( std::uint32_t index ) { isChanged_ |= overrides_.erase( index ) > 0; }
   // Erases the overrides for whose index `condition` returns true.
   template < class Condition > void eraseOverridesIf( Condition condition ) {
      isChanged_ |= std::erase_if( overrides_, [ & ]( auto const& override ) {
                       return condition( override.first );
                    } ) > 0;
   }
   bool isOverridden( std::uint32_t index ) const { return overrides_.contains( index ); }
   std::map< std::uint32_t, OwnedLink > const& overrides() const { return overrides_; }

   // Records the links that are about to be shut for the next process. Call remember() after the
   // acts.
   void rememberBefore( std::span< OwnedLink const > aboutToBeShut );
   // Records exactly these links and overrides for the next process. A failure is logged, and tried
   // again at the next change or after retry().
   void remember();
   bool hasFailed() const { return error_ != 0; }
   // The errno value of the last remember().
   int error() const { return error_; }
   // Where the record is, for the log.
   std::string place() const { return store_.place(); }
   void retry() { isChanged_ |= hasFailed(); }
   // Records all again if the record was removed.
   void checkRecord();
   // Returns true if there may be ports of ours that a record names, but can't be read.
   bool hasUnreadRecord() const { return unread_.hasFound(); }

 private:
   void take( Link const& link, OwnedLink owned );
   void takeOverride( Link const& link, OwnedLink const& owned );

   OwnedLinkStore& store_;
   Log& log_;
   UnreadRecords unread_;
   std::map< std::uint32_t, OwnedLink > owned_;
   // A link that can't be opened is in both.
   std::map< std::uint32_t, OwnedLink > overrides_;
   // During adoption, the links that a former process recorded, by index.
   std::multimap< std::uint32_t, OwnedLink > recalled_;
   std::set< std::uint32_t > foundOpen_; // See wasFoundOpen().
   bool isChanged_ = true;               // Since remember().
   int error_ = 0;
};

} // namespace Ufdd
