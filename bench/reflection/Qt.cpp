#include "bench/reflection/QtObject.h"
#include "bench/reflection/Reflection.h"

#include <QMetaProperty>
#include <QVariant>

namespace Bench {

void
addQt() {
   static auto* const object = new QtObject;
   static QMetaProperty const property =
       object->metaObject()->property( object->metaObject()->indexOfProperty( attributeName ) );
   auto const get = [] { return object->minLinks(); };
   addGet( "qt", "id", [] { return property.read( object ).toUInt(); } );
   addSet(
       "qt", "id", []( unsigned int number ) { property.write( object, number ); }, get );
   addGet( "qt", "name", [] { return object->property( attributeName ).toUInt(); } );
   addSet(
       "qt", "name", []( unsigned int number ) { object->setProperty( attributeName, number ); },
       get );
}

} // namespace Bench
