#include "platform/kelnet/IntfId.h"

#include "platform/zet/Exception.h"

#include <array>
#include <bit>
#include <cstring>
#include <deque>
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
   // Returns null when no name has that position. Valid for the life of the process.
   Zet::Name const* find( std::uint32_t position ) const noexcept {
      std::uint32_t const place = table_[ placeOf( position ) ];
      return place == none ? nullptr : &names_[ place ];
   }
   // Requires: no name has the position of this one.
   void insert( Zet::Name const& name ) {
      if ( ( names_.size() + 1 ) * 4 > table_.size() * 3 )
         grow();
      names_.push_back( name );
      table_[ placeOf( name.position() ) ] = static_cast< std::uint32_t >( names_.size() - 1 );
   }

 private:
   static constexpr std::uint32_t none = 0xffffffff;

   // Returns the place in the table of the name of that position, or the free one for it. The
   // table is never full.
   std::size_t placeOf( std::uint32_t position ) const noexcept {
      std::size_t at = position >> ( 32 - bits_ );
      while ( table_[ at ] != none && names_[ table_[ at ] ].position() != position )
         at = ( at + 1 ) & ( table_.size() - 1 );
      return at;
   }
   void grow() {
      table_.assign( table_.size() * 2, none );
      ++bits_;
      for ( std::uint32_t place = 0; place < names_.size(); ++place )
         table_[ placeOf( names_[ place ].position() ) ] = place;
   }

   std::deque< Zet::Name > names_;
   // The size of the table, as a power of two.
   unsigned int bits_ = 4;
   // Places in `names_`.
   std::vector< std::uint32_t > table_ = std::vector< std::uint32_t >( 1u << 4, none );
};

// Names that were asked for lately, with their ids: an attribute log names the same interfaces
// again and again, and the hash of a name takes longer than comparing it.
class LatestNames {
 public:
   struct Entry {
      Zet::Name const* name = nullptr;
      std::uint32_t value = 0;
   };

   // Returns the entry of that name, or the one that it may replace.
   Entry& at( std::string_view name ) noexcept { return entries_[ placeOf( name ) ]; }

 private:
   static constexpr unsigned int bits = 8;

   // Returns a place that depends on the length and on the bytes at both ends.
   static std::size_t placeOf( std::string_view name ) noexcept {
      std::uint64_t first = 0;
      std::uint64_t last = 0;
      if ( name.size() >= sizeof first ) {
         std::memcpy( &first, name.data(), sizeof first );
         std::memcpy( &last, name.data() + name.size() - sizeof last, sizeof last );
      } else if ( !name.empty() )
         std::memcpy( &first, name.data(), name.size() );
      return static_cast< std::size_t >(
          ( first ^ std::rotl( last, 23 ) ^ name.size() ) * 0x9e3779b97f4a7c15 >> ( 64 - bits ) );
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
      Zet::Name const* const known = names().regular.find( position );
      if ( !known ) {
         names().countIn( name );
         names().regular.insert( name );
      }
      if ( !known || known->view() == name )
         return position;
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
   LatestNames::Entry& latest = names().latest.at( name );
   if ( !latest.name || latest.name->view() != name ) {
      value_ = idOf( name, firstPosition );
      latest = { &this->name(), value_ };
   }
   value_ = latest.value;
}

std::uint32_t
IntfId::irregularPosition( std::uint32_t value ) noexcept {
   return names().irregular[ value ].position();
}

Zet::Name const&
IntfId::name() const noexcept {
   return value_ < firstPosition ? names().irregular[ value_ ] : *names().regular.find( value_ );
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
