#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/PtrInterface.h"

namespace Zet {

// What a deferred notification would run on. Nothing here defers any, so nobody makes one.
class ZET_EXPORT ActivityConfig : public PtrInterface {
 public:
   static Ptr< ZetType const > _fwkType();
   Ptr< ZetType const > fwkType() const override;
};

} // namespace Zet
