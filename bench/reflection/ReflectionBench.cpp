#include "adapters/reflect/ModelGenericIf.h"
#include "bench/reflection/Reflection.h"
#include "model/GroupConfig.h"
#include "platform/zet/generic/ValueIf.h"

namespace Bench {

namespace {

using UplinkFailureDetection::GroupConfig;
using Zet::GenericIf;

constexpr Zet::AttributeId minLinksId = 260;

unsigned int
read( GenericIf& object, Zet::AttributeId id ) {
   return Zet::valueOf< unsigned int >( object.attributeOp( { id, GenericIf::get }, {}, {} ),
                                        "minLinks" );
}

void
write( GenericIf& object, Zet::AttributeId id, unsigned int number ) {
   object.attributeOp( { id, GenericIf::set }, {}, Zet::valueIf( number ) );
}

Zet::AttributeId
idOf( GenericIf const& object ) {
   return object.attributeId( attributeName );
}

void
addOurs() {
   auto const& group = *new auto( Zet::make< GroupConfig >( "group" ) );
   group->minLinksIs( 7 );
   auto* const object = ( *new auto( group->fwkType()->genericIf( group, false ) ) ).get();
   auto const minLinks = [ &group ] { return group->minLinks(); };
   addGet( "ours", "id", [ object ] { return read( *object, minLinksId ); } );
   addSet(
       "ours", "id", [ object ]( unsigned int number ) { write( *object, minLinksId, number ); },
       minLinks );
   addGet( "ours", "name", [ object ] { return read( *object, idOf( *object ) ); } );
   addSet(
       "ours", "name",
       [ object ]( unsigned int number ) { write( *object, idOf( *object ), number ); }, minLinks );
}

class Object {
 public:
   virtual ~Object() = default;
   virtual unsigned int minLinks() const = 0;
   virtual void minLinksIs( unsigned int number ) = 0;
};

class Plain final : public Object {
 public:
   [[gnu::noinline]] unsigned int minLinks() const override { return minLinks_; }
   [[gnu::noinline]] void minLinksIs( unsigned int number ) override { minLinks_ = number; }

 private:
   unsigned int minLinks_ = 7;
};

void
addFloor() {
   static Object* object = new Plain;
   auto const get = [] {
      benchmark::DoNotOptimize( object );
      return object->minLinks();
   };
   auto const set = []( unsigned int number ) {
      benchmark::DoNotOptimize( object );
      object->minLinksIs( number );
   };
   for ( char const* const how : { "id", "name" } ) {
      addGet( "floor", how, get );
      addSet( "floor", how, set, get );
   }
}

} // namespace

void
benchmarks() {
   addOurs();
   addFloor();
   addQt();
   addGobject();
}

} // namespace Bench
