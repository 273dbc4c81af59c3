#include "platform/kelnet/IntfId.h"

#include "platform/zet/Exception.h"

#include <ostream>
#include <unordered_map>

namespace Kelnet {

namespace {

using Numbers = std::unordered_map< std::string_view, std::uint32_t >;

// Its keys are views of the names in the rows.
Numbers&
numbers() {
   // Never destroyed: ids of static life outlast it otherwise.
   static Numbers& numbers = *new Numbers{ { std::string_view(), 0 } };
   return numbers;
}

} // namespace

// The first block is there from the start, for the empty id.
IntfId::Row* IntfId::blocks_[ blockCount ] = { new Row[ std::size_t{ 1 } << blockBits ] };

void
IntfId::handleInitialized( std::string_view name ) {
   if ( auto const found = numbers().find( name ); found != numbers().end() ) {
      value_ = found->second;
      return;
   }
   auto const value = static_cast< std::uint32_t >( numbers().size() );
   std::uint32_t const block = value >> blockBits;
   if ( block >= blockCount )
      Zet::throwRangeException( "too many interface names" );
   if ( !blocks_[ block ] )
      blocks_[ block ] = new Row[ std::size_t{ 1 } << blockBits ];
   Row& row = blocks_[ block ][ value & ( ( 1u << blockBits ) - 1 ) ];
   row.name = name;
   row.hash = row.name.hash();
   numbers().emplace( row.name.view(), value );
   value_ = value;
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
