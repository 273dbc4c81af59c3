#include "platform/zet/ActivityConfig.h"

#include "platform/zet/ZetType.h"

namespace Zet {

Ptr< ZetType const >
ActivityConfig::_fwkType() {
   static ZetType const& type = ZetType::ZetTypeIs( "Zet", "ActivityConfig", nullptr );
   return &type;
}

Ptr< ZetType const >
ActivityConfig::fwkType() const {
   return _fwkType();
}

} // namespace Zet
