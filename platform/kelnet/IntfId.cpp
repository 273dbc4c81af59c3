#include "platform/kelnet/IntfId.h"

#include "platform/zet/Exception.h"

#include <array>
#include <bit>
#include <cstring>
#include <deque>
#include <optional>
#include <ostream>
#include <unordered_map>
#include <vector>

namespace Kelnet {

namespace {

// The most memory that a name takes beside its text, in bytes.
constexpr std::size_t overhead = 100;

// The names whose ids are their positions. There is never a reason to remove one.
class RegularNames {
 public:
   // Returns the name of that position; the empty name when there is none.
   Zet::Name const& find( std::uint32_t position ) const noexcept {
      return table_[ placeOf( position ) ];
   }
   // Requires: no name has the position of this one, which is not empty.
   void insert( Zet::Name name ) {
      if ( ( count_ + 1 ) * 4 > table_.size() * 3 )
         grow();
      put( std::move( name ) );
      ++count_;
   }

 private:
   // Returns the place in the table of the name of that position, or the free one for it. The
   // table is never full.
   std::size_t placeOf( std::uint32_t position ) const noexcept {
      std::size_t at = position >> ( 32 - bits_ );
      while ( !table_[ at ].empty() && table_[ at ].position() != position )
         at = ( at + 1 ) & ( table_.size() - 1 );
      return at;
   }
   void put( Zet::Name name ) noexcept {
      std::size_t const place = placeOf( name.position() );
      table_[ place ] = std::move( name );
   }
   void grow() {
      std::vector< Zet::Name > before( table_.size() * 2 );
      before.swap( table_ );
      ++bits_;
      for ( Zet::Name& name : before )
         if ( !name.empty() )
            put( std::move( name ) );
   }

   // The size of the table, as a power of two.
   unsigned int bits_ = 4;
   std::vector< Zet::Name > table_ = std::vector< Zet::Name >( 1u << 4 );
   std::size_t count_ = 0;
};

// Names that were asked for lately, with their ids: an attribute log names the same interfaces
// again and again, and the hash of a name takes longer than comparing it.
class LatestNames {
 public:
   // Returns the id of that name, if it is known here.
   std::optional< std::uint32_t > find( std::string_view name ) const noexcept {
      std::uint64_t const mixed = mixOf( name );
      Entry const& entry = entries_[ placeOf( mixed ) ];
      if ( entry.tag != tagOf( mixed ) || entry.name.view() != name )
         return std::nullopt;
      return entry.value;
   }
   void insert( Zet::Name name, std::uint32_t value ) noexcept {
      std::uint64_t const mixed = mixOf( name.view() );
      entries_[ placeOf( mixed ) ] = { std::move( name ), value, tagOf( mixed ) };
   }

 private:
   struct Entry {
      Zet::Name name;
      std::uint32_t value = 0;
      // Most names that have the same place differ in this.
      std::uint32_t tag = 0;
   };
   static constexpr unsigned int bits = 8;

   static std::size_t placeOf( std::uint64_t mixed ) noexcept {
      return static_cast< std::size_t >( mixed >> ( 64 - bits ) );
   }
   static std::uint32_t tagOf( std::uint64_t mixed ) noexcept {
      return static_cast< std::uint32_t >( mixed >> 16 );
   }
   // Returns a number that depends on the length and on the bytes at both ends.
   static std::uint64_t mixOf( std::string_view name ) noexcept {
      std::uint64_t first = 0;
      std::uint64_t last = 0;
      if ( name.size() >= sizeof first ) {
         std::memcpy( &first, name.data(), sizeof first );
         std::memcpy( &last, name.data() + name.size() - sizeof last, sizeof last );
      } else if ( !name.empty() )
         std::memcpy( &first, name.data(), name.size() );
      return ( first ^ std::rotl( last, 23 ) ^ name.size() ) * 0x9e3779b97f4a7c15;
   }

   std::array< Entry, 1u << bits > entries_;
};

struct Names {
   RegularNames regular;
   LatestNames latest;
   // The names of irregular ids, by id.
   std::deque< Zet::Name > irregular{ Zet::Name() };
   std::unordered_map< std::string_view, std::uint32_t > irregularIds{ { {}, 0 } };
   std::size_t memory = 0;

   void countIn( std::string_view name ) {
      if ( memory + name.size() + overhead > IntfId::namesLimit )
         Zet::throwRangeException( "too many interface names: those that this process has seen "
                                   "take all the memory that is set aside for them" );
      memory += name.size() + overhead;
   }
};

Names&
names() {
   // Never destroyed: static ids would outlast it.
   static Names& names = *new Names;
   return names;
}

// Returns the id of that name, which it remembers. The ids of most names are their positions; those
// of the others are below `firstPosition`.
std::uint32_t
idOf( std::string_view name, std::uint32_t firstPosition ) {
   std::uint32_t const position = Zet::bitReverse( Zet::hashOfText( name ) );
   if ( position >= firstPosition && !name.empty() ) {
      Zet::Name const& known = names().regular.find( position );
      if ( known.view() == name )
         return position;
      if ( known.empty() ) {
         names().countIn( name );
         names().regular.insert( name );
         return position;
      }
   }
   auto const next = static_cast< std::uint32_t >( names().irregular.size() );
   auto const known = names().irregularIds.find( name );
   if ( known != names().irregularIds.end() )
      return known->second;
   if ( next == firstPosition )
      Zet::throwRangeException( "too many interface names" );
   names().countIn( name );
   names().irregularIds.emplace( names().irregular.emplace_back( name ).view(), next );
   return next;
}

} // namespace

void
IntfId::handleInitialized( std::string_view name ) {
   if ( std::optional< std::uint32_t > const latest = names().latest.find( name ) ) {
      value_ = *latest;
      return;
   }
   value_ = idOf( name, firstPosition );
   names().latest.insert( this->name(), value_ );
}

std::uint32_t
IntfId::irregularPosition( std::uint32_t value ) noexcept {
   return names().irregular[ value ].position();
}

Zet::Name
IntfId::name() const noexcept {
   return value_ < firstPosition ? names().irregular[ value_ ] : names().regular.find( value_ );
}

Zet::Ptr< Zet::ZetType const >
IntfId::_fwkType() {
   static Zet::ZetType const& type = Zet::ZetType::ZetTypeIs( "Kelnet", "IntfId", nullptr );
   return &type;
}

std::ostream&
operator<<( std::ostream& stream, IntfId id ) {
   return stream << id.name();
}

} // namespace Kelnet
