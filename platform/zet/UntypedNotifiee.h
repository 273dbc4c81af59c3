#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Export.h"
#include "platform/zet/NotifieeConst.h"

#include <type_traits>

namespace Zet {

// A notifiee of the entity E that is told of all attributes alike, through onChange(), and never
// through a handler of E's.
template < class E > class ZET_EXPORT UntypedNotifiee : public E::Notifiee {
 public:
   // `key` points to the key of the collection's member that changed; null for other attributes.
   virtual void onChange( AttributeId id, void const* key ) = 0;

 protected:
   // The flag is what a delivery trusts before it takes the notifiee for this class.
   UntypedNotifiee() {
      static_assert( std::is_same_v< typename E::NotifieeConst::Notifier, E > );
      PtrInterface::NotifieeConst::untyped_ = true;
   }
   ~UntypedNotifiee() override = default;
};

} // namespace Zet
