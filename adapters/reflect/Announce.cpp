#include "adapters/reflect/Announce.h"

namespace Reflect {

void
Announcer::plain( Zet::Name name, Zet::Ptr< Zet::ZetType const > const& valueType,
                  Zet::Ptr< Zet::ZetType const > const& keyType, KindFlags const& kind,
                  Zet::AttributeId id ) {
   reactor_.defNoninstantiatingAttr( type_, std::move( name ), valueType, keyType, kind.flags,
                                     kind.introspection, id );
}

void
Announcer::withContext( Zet::Name name, Zet::Ptr< Zet::ZetType const > const& valueType,
                        Zet::Ptr< Zet::ZetType const > const& keyType, KindFlags const& kind,
                        Zet::AttributeId id, std::vector< Zet::Argument > arguments,
                        Zet::Name indexAttribute ) {
   auto const attribute = Zet::make< Zet::ZetAttr >( type_, std::move( name ), valueType, keyType,
                                                     kind.flags, kind.introspection, id );
   for ( Zet::Argument& argument : arguments )
      attribute->argumentEnq( std::move( argument ) );
   attribute->indexAttrIs( std::move( indexAttribute ) );
   type_.attrDel( attribute->name() );
   type_.attrIs( attribute );
   again( attribute );
}

void
Announcer::again( Zet::Ptr< Zet::ZetAttr > const& attribute ) {
   reactor_.handleAttr( attribute );
   reactor_.handleAttrContextExit();
}

} // namespace Reflect
