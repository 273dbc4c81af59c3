#pragma once

#include "adapters/notify/KeyedCollection.h"
#include "platform/zet/AttributeId.h"
#include "platform/zet/NotificationFailure.h"

namespace Notify {

// A collection of entities whose parent is the owner. `Removed` is as for KeyedCollection; it also
// clears the member's parent.
template < auto Removed > class EntityCollection : public KeyedCollection< Removed > {
   using Base = KeyedCollection< Removed >;

 public:
   using typename Base::Key;
   using typename Base::Member;
   using typename Base::Owner;

   // Puts the member into the collection. Tells nobody.
   // Requires: the member's key is absent; it has no parent.
   Zet::Ptr< Member > newMember( Owner& owner, Zet::AttributeId attribute,
                                 Zet::Ptr< Member > member ) {
      member->parentAttrIdIs( attribute );
      this->insert( member );
      member->parentIs( &owner );
      return member;
   }

   // Does the removals of the owner's destructor: delAll(), whatever the notifiees throw.
   void end( Owner& owner, Zet::AttributeId attribute ) noexcept {
      while ( !this->members().empty() ) {
         try {
            this->delAll( owner );
         } catch ( ... ) {
            // A destructor can't rethrow the exception of an observer that was told of a failure.
            Zet::handleNotificationFailure( owner, attribute );
         }
      }
   }
};

} // namespace Notify
