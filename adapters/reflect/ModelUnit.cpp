#include "adapters/reflect/ModelGenericIf.h"
#include "adapters/reflect/TypeNames.h"
#include "adapters/reflect/Unit.h"
#include "model/GroupLinkStatus.h"

namespace UplinkFailureDetection {

class GroupConfig::_Type : public Reflect::EntityType< GroupConfig, GroupConfig::GroupConfigIs > {
   using EntityType::EntityType;
};
class GroupStatus::_Type : public Reflect::EntityType< GroupStatus, GroupStatus::GroupStatusIs > {
   using EntityType::EntityType;
};
class Config::_Type : public Reflect::EntityType< Config, configFactory > {
   using EntityType::EntityType;
};
class Status::_Type : public Reflect::EntityType< Status, statusFactory > {
   using EntityType::EntityType;
};
class GroupLinkStatus__Type : public Zet::ZetType {
   using ZetType::ZetType;
};

namespace {

void
registerModelUnit() {
   static constinit bool registered = false;
   Reflect::Unit::registrationIs(
       registered, "UplinkFailureDetection",
       { Zet::Entity::_fwkType, Config::_fwkType, GroupConfig::_fwkType, _fwkType_GroupLinkStatus,
         GroupStatus::_fwkType, Status::_fwkType },
       { Reflect::announce< GroupConfig >, Reflect::announceEnumeration< GroupLinkStatus >,
         Reflect::announce< GroupStatus >, Reflect::announce< Config >,
         Reflect::announce< Status > } );
}

template < class E >
void
addEntityHandles( Reflect::Handles& handles ) {
   Reflect::addHandles(
       handles, E::_fwkType(),
       { "isNondestructing", "zetNboAttrLogSaForMsgChannel", "zetHasAttrLogInterface" } );
   Reflect::addHandlesOfRows< E >( handles );
   if constexpr ( Reflect::hasKey< E > )
      Reflect::addHandles( handles, E::_fwkType(), { "fwkKey" } );
}

// Registers the unit when the library is loaded.
class LoadedModel {
 public:
   LoadedModel() {
      Reflect::TypeNames const& names = Reflect::typeNames;
      Reflect::typeToFill< GroupConfig >().typeNodeIs( names.groupConfig );
      const_cast< Zet::ZetType& >( *_fwkType_GroupLinkStatus() )
          .typeNodeIs( names.groupLinkStatus );
      Reflect::typeToFill< GroupStatus >().typeNodeIs( names.groupStatus );
      Reflect::typeToFill< Config >().typeNodeIs( names.config );
      Reflect::typeToFill< Status >().typeNodeIs( names.status );
      addEntityHandles< GroupConfig >( handles_ );
      addEntityHandles< GroupStatus >( handles_ );
      addEntityHandles< Config >( handles_ );
      addEntityHandles< Status >( handles_ );
   }

 private:
   Reflect::Handles handles_;
};

// Made before the machines' unit: the types of machines are made from these types.
[[gnu::init_priority( 1001 )]] LoadedModel const loadedModel;

} // namespace

Zet::Ptr< Zet::ZetType const >
GroupConfig::_fwkType() {
   return Reflect::typeOf< GroupConfig >( registerModelUnit, Zet::Entity::_fwkType );
}

Zet::Ptr< Zet::ZetType const >
GroupStatus::_fwkType() {
   return Reflect::typeOf< GroupStatus >( registerModelUnit, Zet::Entity::_fwkType );
}

Zet::Ptr< Zet::ZetType const >
Config::_fwkType() {
   return Reflect::typeOf< Config >( registerModelUnit, Zet::Entity::_fwkType );
}

Zet::Ptr< Zet::ZetType const >
Status::_fwkType() {
   return Reflect::typeOf< Status >( registerModelUnit, Zet::Entity::_fwkType );
}

Zet::Ptr< Zet::ZetType const >
_fwkType_GroupLinkStatus() {
   return Reflect::typeOf< GroupLinkStatus, GroupLinkStatus__Type >( registerModelUnit, nullptr );
}

} // namespace UplinkFailureDetection
