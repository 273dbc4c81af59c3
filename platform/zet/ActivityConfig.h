#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/PtrInterface.h"

namespace Zet {

// The activity that a deferred notification would run on. Nothing here defers notifications, so no
// activity is ever made.
class ZET_EXPORT ActivityConfig : public PtrInterface {
 public:
   static Ptr< ZetType const > _fwkType();
   Ptr< ZetType const > fwkType() const override;
};

} // namespace Zet
