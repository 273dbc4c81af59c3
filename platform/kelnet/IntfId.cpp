#include "platform/kelnet/IntfId.h"

#include "platform/zet/Exception.h"
#include "platform/zet/HashMap.h"

#include <deque>
#include <ostream>
#include <unordered_map>

namespace Kelnet {

namespace {

// A name whose id is its position.
class Regular : public Zet::PtrInterface {
 public:
   Regular( IntfId id, Zet::Name name ) : id_( id ), name_( std::move( name ) ) {}
   IntfId zetKey() const noexcept { return id_; }
   Zet::Name const& name() const noexcept { return name_; }
   Zet::ChainLink< Regular > zetChainLink;

 private:
   IntfId id_;
   Zet::Name name_;
};

// The memory that a name takes beside its text, in bytes.
constexpr std::size_t overhead = 100;

struct Names {
   Zet::HashMap< Regular, IntfId > regular;
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

} // namespace

void
IntfId::handleInitialized( std::string_view name ) {
   std::uint32_t const position = Zet::bitReverse( Zet::hashOfText( name ) );
   if ( position >= firstPosition && !name.empty() ) {
      IntfId const id( position );
      Regular const* const known = names().regular.find( id );
      if ( !known ) {
         names().countIn( name );
         names().regular.insert( Zet::make< Regular >( id, name ) );
      }
      if ( !known || known->name().view() == name ) {
         *this = id;
         return;
      }
   }
   auto const next = static_cast< std::uint32_t >( names().irregular.size() );
   auto const known = names().irregularIds.find( name );
   if ( known != names().irregularIds.end() ) {
      value_ = known->second;
      return;
   }
   if ( next == firstPosition )
      Zet::throwRangeException( "too many interface names" );
   names().countIn( name );
   names().irregularIds.emplace( names().irregular.emplace_back( name ).view(), next );
   value_ = next;
}

std::uint32_t
IntfId::irregularPosition( std::uint32_t value ) noexcept {
   return names().irregular[ value ].position();
}

Zet::Name const&
IntfId::name() const noexcept {
   return value_ < firstPosition ? names().irregular[ value_ ]
                                 : names().regular.find( *this )->name();
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
