#include "platform/zet/ZetType.h"

namespace Zet {

ZetType const&
ZetType::ZetTypeIs( Name name, Ptr< ZetType const > const& base ) {
   auto* const type = new ZetType( std::move( name ), base );
   type->isNondestructingIs( true );
   if ( base )
      base->derivedTypes_.emplace_back( type );
   return *type;
}

} // namespace Zet
