#include "adapters/reflect/Announce.h"

namespace Reflect {

void
Announcer::plain( std::string_view name, TypeMaker valueType, TypeMaker keyType,
                  KindFlags const& kind, Zet::AttributeId id ) {
   reactor_.defNoninstantiatingAttr( type_, name, valueType(), keyType ? keyType() : nullptr,
                                     kind.flags, kind.introspection, id );
}

void
Announcer::withContext( std::string_view name, TypeMaker valueType, TypeMaker keyType,
                        KindFlags const& kind, Zet::AttributeId id,
                        std::vector< Zet::Argument > arguments, std::string_view indexAttribute ) {
   auto const attribute =
       Zet::make< Zet::ZetAttr >( type_, name, valueType(), keyType ? keyType() : nullptr,
                                  kind.flags, kind.introspection, id );
   for ( Zet::Argument& argument : arguments )
      attribute->argumentEnq( std::move( argument ) );
   attribute->indexAttrIs( indexAttribute );
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
