#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Export.h"
#include "platform/zet/NotifieeConst.h"

#include <type_traits>

namespace Zet {

// A notifiee of the entity E that hears of all attributes through onChange(), never through E's
// handlers.
template < class E > class ZET_EXPORT UntypedNotifiee : public E::Notifiee {
 public:
   // Called for every change. `key` points to the key of the collection's changed member; null for
   // other attributes.
   virtual void onChange( AttributeId id, void const* key ) = 0;

 protected:
   // A delivery trusts this flag before it treats the notifiee as this class.
   UntypedNotifiee() {
      static_assert( std::is_same_v< typename E::NotifieeConst::Notifier, E > );
      PtrInterface::NotifieeConst::untyped_ = true;
   }
   ~UntypedNotifiee() override = default;
};

} // namespace Zet
