#include "platform/interface/IntfStatus.h"

namespace Interface {

Zet::Ptr< Zet::ZetType const >
IntfStatus::_fwkType() {
   static Zet::ZetType const& type =
       Zet::ZetType::ZetTypeIs( "Interface", "IntfStatus", Zet::Entity::_fwkType() );
   return &type;
}

Zet::Ptr< Zet::ZetType const >
IntfStatus::fwkType() const {
   return _fwkType();
}

} // namespace Interface
