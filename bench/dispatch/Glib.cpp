#include "bench/dispatch/Dispatch.h"

#include <glib-object.h>

namespace {

struct BenchSubject {
   GObject parent;
   guint value;
};
struct BenchSubjectClass {
   GObjectClass parent;
};

GParamSpec* valueProperty = nullptr;

G_DEFINE_TYPE( BenchSubject, bench_subject, G_TYPE_OBJECT )

void
bench_subject_class_init( BenchSubjectClass* type ) {
   GObjectClass* const objects = G_OBJECT_CLASS( type );
   // The benchmark sets the value by a call of its own.
   objects->get_property = []( GObject* object, guint, GValue* value, GParamSpec* ) {
      g_value_set_uint( value, reinterpret_cast< BenchSubject* >( object )->value );
   };
   valueProperty =
       g_param_spec_uint( "value", nullptr, nullptr, 0, G_MAXUINT, 0,
                          static_cast< GParamFlags >( G_PARAM_READABLE | G_PARAM_STATIC_STRINGS ) );
   g_object_class_install_property( objects, 1, valueProperty );
}

void
bench_subject_init( BenchSubject* ) {}

class Glib {
 public:
   Glib() = default;
   Glib( Glib const& ) = delete;
   Glib& operator=( Glib const& ) = delete;
   ~Glib() { g_object_unref( subject_ ); }

   template < int Kind > void observe() {
      auto const handler = +[]( GObject* object, GParamSpec*, gpointer sum ) {
         static_cast< Bench::Sum* >( sum )->add< Kind >(
             reinterpret_cast< BenchSubject* >( object )->value );
      };
      g_signal_connect( subject_, "notify::value", G_CALLBACK( handler ), &sums_.add() );
   }
   void set( unsigned int value ) {
      if ( value == subject_->value )
         return;
      subject_->value = value;
      g_object_notify_by_pspec( G_OBJECT( subject_ ), valueProperty );
   }
   std::uint64_t sum() const { return sumOf( sums_ ); }

 private:
   Bench::Scattered< Bench::Sum > sums_;
   BenchSubject* const subject_ =
       static_cast< BenchSubject* >( g_object_new( bench_subject_get_type(), nullptr ) );
};

} // namespace

void
Bench::addGlib() {
   addSubject< Glib >( "glib" );
}
