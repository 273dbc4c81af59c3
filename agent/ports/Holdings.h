#pragma once

#include "agent/base/Log.h"
#include "agent/ports/Ownership.h"

#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace Ufdd {

// Every link that we shut and have not opened since, by index, with its present name: another link
// that comes to have the name is not ours to open. And every link that we shut, but that others
// opened so often that it is left to them: an override.
class Holdings {
 public:
   // Borrows: both.
   Holdings( Ownership& ownership, Log& log ) : ownership_( ownership ), log_( log ) {}

   // Takes a link that is new, or was away for a while, for ours if it has our mark, that bit
   // among the reasons for its protodown; between the other two also if it still is as a former
   // process left it.
   void adopt( Link const& link, unsigned int reason );
   void beginAdoption();
   void endAdoption();

   // Null when it is not ours. Valid until: the next change.
   Holding const* find( std::uint32_t index ) const;
   bool contains( std::uint32_t index ) const { return find( index ) != nullptr; }
   auto begin() const { return holdings_.begin(); }
   auto end() const { return holdings_.end(); }
   std::size_t count() const { return holdings_.size(); }

   // Replaces that of the same index.
   void insert( Holding const& holding );
   void erase( std::uint32_t index );
   // False when it is not ours.
   bool rename( std::uint32_t index, InterfaceName const& name );
   void addressIs( std::uint32_t index, std::uint64_t address );

   void insertOverride( Holding holding );
   void eraseOverride( std::uint32_t index ) { isChanged_ |= overrides_.erase( index ) > 0; }
   // Of whose index that is true.
   template < class Condition > void eraseOverridesIf( Condition condition ) {
      isChanged_ |= std::erase_if( overrides_, [ & ]( auto const& override ) {
                       return condition( override.first );
                    } ) > 0;
   }
   bool isOverridden( std::uint32_t index ) const { return overrides_.contains( index ); }
   std::map< std::uint32_t, Holding > const& overrides() const { return overrides_; }

   // Makes the next process know of what is about to be shut; remember() is to follow.
   void rememberBefore( std::span< Holding const > aboutToBeShut );
   // Makes the next process know of all of them, and of nothing else. What fails is logged, and
   // tried again when there is a change or after retry().
   void remember();
   bool hasFailed() const { return error_ != 0; }
   void retry() { isChanged_ |= hasFailed(); }

 private:
   void take( Link const& link, Holding holding );
   void takeOverride( Link const& link, Holding const& holding );

   Ownership& ownership_;
   Log& log_;
   std::map< std::uint32_t, Holding > holdings_;
   std::map< std::uint32_t, Holding > overrides_; // A link may also be ours, if it can't be opened.
   // Of a former process, while links are adopted.
   std::multimap< std::uint32_t, Holding > recalled_;
   bool isChanged_ = true; // Since they were remembered.
   int error_ = 0;
};

} // namespace Ufdd
