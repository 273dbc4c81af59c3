#include "platform/zet/attrlog/Dir.h"

namespace Zet {

Dir::~Dir() {
   for ( auto const& [ name, entry ] : entries_ )
      entry.entity()->parentIs( nullptr );
}

Dir::Entry*
Dir::entry( Name const& name ) noexcept {
   auto const found = entries_.find( name );
   return found == entries_.end() ? nullptr : &found->second;
}

Dir::Entry&
Dir::entryIs( Ptr< Entity > const& entity ) {
   entryDel( entity->zetName() );
   entity->parentIs( this );
   return entries_.emplace( entity->zetName(), Entry( *entity ) ).first->second;
}

void
Dir::entryDel( Name const& name ) {
   auto const found = entries_.find( name );
   if ( found == entries_.end() )
      return;
   found->second.entity()->parentIs( nullptr );
   entries_.erase( found );
}

} // namespace Zet
