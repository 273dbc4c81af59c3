#include "adapters/reflect/SmGenericIf.h"
#include "adapters/reflect/TypeNames.h"
#include "adapters/reflect/Unit.h"
#include "platform/zet/Trace.h"

namespace UplinkFailureDetection {

class UplinkFailureDetectionIntfSm::_Type
    : public Reflect::MachineType< UplinkFailureDetectionIntfSm > {
   using MachineType::MachineType;
};
class UplinkFailureDetectionGroupSm::_Type
    : public Reflect::MachineType< UplinkFailureDetectionGroupSm > {
   using MachineType::MachineType;
};
class UplinkFailureDetectionSm::_Type : public Reflect::MachineType< UplinkFailureDetectionSm > {
   using MachineType::MachineType;
};
class Root::_Type : public Reflect::EntityType< Root, rootFactory > {
   using EntityType::EntityType;
};

namespace {

void
registerSmUnit() {
   static constinit bool registered = false;
   Reflect::Unit::registrationIs(
       registered, "UplinkFailureDetection",
       { Zet::Entity::_fwkType, Zet::PtrInterface::_fwkType, Root::_fwkType,
         UplinkFailureDetectionGroupSm::_fwkType, UplinkFailureDetectionIntfSm::_fwkType,
         UplinkFailureDetectionSm::_fwkType },
       { Reflect::announce< UplinkFailureDetectionIntfSm >,
         Reflect::announce< UplinkFailureDetectionGroupSm >,
         Reflect::announce< UplinkFailureDetectionSm >, Reflect::announce< Root > } );
}

template < class M >
void
addMachineHandles( Reflect::Handles& handles ) {
   Reflect::addHandles( handles, M::_fwkType(), { "zetFwkActivity" } );
   Reflect::addHandlesOfRows< M >( handles );
   if constexpr ( Reflect::hasKey< M > )
      Reflect::addHandles( handles, M::_fwkType(), { "fwkKey" } );
   Reflect::addHandles( handles, M::_fwkType(),
                        { "hasNotificationActiveIs", "zetDoZombieReactors" } );
}

// Registers the unit when the library is loaded.
class LoadedMachines {
 public:
   LoadedMachines() : trace_( "RootPathBase::Zet", 0 ) {
      Reflect::TypeNames const& names = Reflect::typeNames;
      Reflect::typeToFill< UplinkFailureDetectionIntfSm >().typeNodeIs( names.intfSm );
      Reflect::typeToFill< UplinkFailureDetectionGroupSm >().typeNodeIs( names.groupSm );
      Reflect::typeToFill< UplinkFailureDetectionSm >().typeNodeIs( names.sm );
      Reflect::typeToFill< Root >().typeNodeIs( names.root );
      addMachineHandles< UplinkFailureDetectionIntfSm >( handles_ );
      addMachineHandles< UplinkFailureDetectionGroupSm >( handles_ );
      addMachineHandles< UplinkFailureDetectionSm >( handles_ );
      Reflect::addHandles( handles_, Root::_fwkType(), { "isNondestructing" } );
      Reflect::addHandlesOfRows< Root >( handles_ );
   }

 private:
   // Nothing writes to this handle. Tools may look for it by name.
   Zet::TraceHandle trace_;
   Reflect::Handles handles_;
};

[[gnu::init_priority( 1002 )]] LoadedMachines const loadedMachines;

} // namespace

Zet::Ptr< Zet::ZetType const >
UplinkFailureDetectionIntfSm::_fwkType() {
   return Reflect::typeOf< UplinkFailureDetectionIntfSm >( registerSmUnit, nullptr );
}

Zet::Ptr< Zet::ZetType const >
UplinkFailureDetectionGroupSm::_fwkType() {
   return Reflect::typeOf< UplinkFailureDetectionGroupSm >( registerSmUnit,
                                                            Zet::PtrInterface::_fwkType );
}

Zet::Ptr< Zet::ZetType const >
UplinkFailureDetectionSm::_fwkType() {
   return Reflect::typeOf< UplinkFailureDetectionSm >( registerSmUnit,
                                                       Zet::PtrInterface::_fwkType );
}

Zet::Ptr< Zet::ZetType const >
Root::_fwkType() {
   return Reflect::typeOf< Root >( registerSmUnit, Zet::Entity::_fwkType );
}

} // namespace UplinkFailureDetection
