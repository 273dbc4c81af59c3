#include "adapters/reflect/Unit.h"

namespace Reflect {

void
Unit::registrationIs( bool& registered, char const* nameSpace,
                      std::initializer_list< TypeMaker > types,
                      std::initializer_list< Announcement > announcements ) {
   if ( registered )
      return;
   Zet::Ptr< Zet::IntrospectionReactor > const reactor = Zet::IntrospectionReactor::global();
   if ( !reactor->isReady() )
      return;
   // Set first: making a descriptor asks for registration again.
   registered = true;
   for ( TypeMaker const type : types )
      type();
   reactor->handleNameSpace( nameSpace );
   for ( Announcement const announcement : announcements )
      announcement( *reactor );
   reactor->handleScopeExit();
}

void
addHandles( Handles& handles, Zet::Ptr< Zet::ZetType const > const& type,
            std::initializer_list< std::string_view > names ) {
   for ( std::string_view const name : names )
      handles.push_back( Zet::ZetAttr::attr( type, name ) );
}

} // namespace Reflect
