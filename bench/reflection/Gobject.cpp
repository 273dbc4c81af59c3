#include "bench/reflection/Reflection.h"

#include <array>
#include <glib-object.h>

namespace Bench {

namespace {

struct Object {
   GObject parent;
   std::array< guint, 5 > numbers; // By property id.
};
struct ObjectClass {
   GObjectClass parent;
};

constexpr std::array< char const*, 5 > names{ "", "maxLinks", "timeout", "minLinks", "priority" };
constexpr guint minLinksId = 3;

void
read( GObject* object, guint id, GValue* value, GParamSpec* ) {
   g_value_set_uint( value, reinterpret_cast< Object* >( object )->numbers[ id ] );
}

void
write( GObject* object, guint id, GValue const* value, GParamSpec* ) {
   reinterpret_cast< Object* >( object )->numbers[ id ] = g_value_get_uint( value );
}

void
beginClass( gpointer type, gpointer ) {
   auto* const objects = static_cast< GObjectClass* >( type );
   objects->get_property = read;
   objects->set_property = write;
   for ( guint id = 1; id < names.size(); ++id )
      g_object_class_install_property(
          objects, id,
          g_param_spec_uint(
              names[ id ], nullptr, nullptr, 0, G_MAXUINT, 0,
              static_cast< GParamFlags >( G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS ) ) );
}

GObject*
newObject() {
   GType const type =
       g_type_register_static_simple( G_TYPE_OBJECT, "BenchObject", sizeof( ObjectClass ),
                                      beginClass, sizeof( Object ), nullptr, GTypeFlags() );
   auto* const object = static_cast< GObject* >( g_object_new( type, nullptr ) );
   reinterpret_cast< Object* >( object )->numbers[ minLinksId ] = 7;
   return object;
}

} // namespace

// It has no other way than by name.
void
addGobject() {
   static GObject* const object = newObject();
   auto const get = [] { return reinterpret_cast< Object* >( object )->numbers[ minLinksId ]; };
   for ( char const* const how : { "id", "name" } ) {
      addGet( "gobject", how, [] {
         guint number = 0;
         g_object_get( object, attributeName, &number, nullptr );
         return number;
      } );
      addSet(
          "gobject", how,
          []( unsigned int number ) { g_object_set( object, attributeName, number, nullptr ); },
          get );
   }
}

} // namespace Bench
