#pragma once

#include "platform/zet/attrlog/EntityId.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Zet::NboAttrLog {

// The adapters of a connection by their ids. Each record needs a look-up, which takes one
// multiplication and, nearly always, one place of the table.
template < class Adapter > class AdapterTable {
 public:
   // Returns null when there is none.
   Adapter* find( EntityId id ) const noexcept { return entries_[ placeOf( id ) ].adapter; }
   // Returns false, and changes nothing, when the id has an adapter already.
   bool insert( EntityId id, Adapter& adapter ) {
      if ( find( id ) )
         return false;
      if ( ( count_ + 1 ) * 2 > entries_.size() )
         grow();
      entries_[ placeOf( id ) ] = { id, &adapter };
      ++count_;
      return true;
   }
   void erase( EntityId id ) noexcept {
      std::size_t hole = placeOf( id );
      if ( !entries_[ hole ].adapter )
         return;
      --count_;
      // Moves up each entry behind that would not be found beyond the hole.
      for ( std::size_t at = next( hole ); entries_[ at ].adapter; at = next( at ) ) {
         std::size_t const wanted = startOf( entries_[ at ].id );
         if ( ( ( at - wanted ) & mask() ) < ( ( at - hole ) & mask() ) )
            continue;
         entries_[ hole ] = entries_[ at ];
         hole = at;
      }
      entries_[ hole ] = {};
   }

 private:
   struct Entry {
      EntityId id;
      Adapter* adapter = nullptr;
   };

   std::size_t mask() const noexcept { return entries_.size() - 1; }
   std::size_t next( std::size_t place ) const noexcept { return ( place + 1 ) & mask(); }
   std::size_t startOf( EntityId id ) const noexcept {
      return static_cast< std::size_t >(
          std::bit_cast< std::uint64_t >( id ) * 0x9e3779b97f4a7c15 >> shift_ );
   }
   // Returns the place of the id, or the free one for it. The table is never full.
   std::size_t placeOf( EntityId id ) const noexcept {
      std::size_t at = startOf( id );
      while ( entries_[ at ].adapter && entries_[ at ].id != id )
         at = next( at );
      return at;
   }
   void grow() {
      std::vector< Entry > before( entries_.size() * 2 );
      before.swap( entries_ );
      --shift_;
      for ( Entry const& entry : before )
         if ( entry.adapter )
            entries_[ placeOf( entry.id ) ] = entry;
   }

   static constexpr unsigned int smallest = 4;

   std::vector< Entry > entries_ = std::vector< Entry >( 1u << smallest );
   std::size_t count_ = 0;
   unsigned int shift_ = 64 - smallest;
};

} // namespace Zet::NboAttrLog
