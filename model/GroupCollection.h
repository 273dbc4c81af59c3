#pragma once

#include "adapters/notify/EntityCollection.h"
#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/LoggedEntity.h"
#include "platform/zet/ListRaw.h"

namespace UplinkFailureDetection {

// The common base of Config and Status: an entity E that holds one Member per group, by the group's
// name, and is the parent of each Member. E derives from this class. E's destructor calls
// groupsEnd().
template < class E, class M > class ZET_EXPORT GroupCollection : public Notify::LoggedEntity< E > {
 public:
   using Member = M;
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< E >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;

   // Returns the group of that name, or null.
   Zet::Ptr< Member > group( Zet::Name name ) { return group_.find( name ); }
   Zet::Ptr< Member const > group( Zet::Name name ) const { return group_.find( name ); }
   // Returns the group of that name. If there is none, makes it and tells the notifiees.
   Zet::Ptr< Member > groupIs( Zet::Name name );
   // Makes the group and tells nobody. Requires: there is no group of that name.
   Zet::Ptr< Member > newGroup( Zet::Name name );
   // Removes the group and tells the notifiees. The member returned lives on while the caller holds
   // it; its parent is cleared. Returns null, and tells nobody, when there is no such group.
   Zet::Ptr< Member > groupDel( Zet::Name name ) { return group_.del( *this, name ); }
   void groupDelAll() { group_.delAll( *this ); }
   // Ends every removal: clears the member's parent and tells the notifiees.
   void groupNotify( Zet::Name name, Zet::Ptr< Member > const& member );

   // The iterators are described in adapters/notify/KeyedCollection.h.
   using Groups = Notify::EntityCollection< &GroupCollection::groupNotify >;
   using GroupIterator = typename Groups::Iterator;
   using GroupIteratorConst = typename Groups::IteratorConst;
   GroupIterator groupIterator() { return group_.iterator( *this ); }
   GroupIteratorConst groupIteratorConst() const { return group_.iteratorConst(); }
   typename Groups::Members const& groupMembers() const { return group_.members(); }

 protected:
   using Notify::LoggedEntity< E >::LoggedEntity;

   // Removes the groups, tells the notifiees that are still registered, then forgets them.
   void groupsEnd() noexcept;

 private:
   friend class Notify::NotifyingEntity< E >;

   void notifyGroup( Zet::Name const& name );

   Groups group_;
   mutable NotifieeList notifiees_;
};

template < class E, class M >
class ZET_EXPORT GroupCollection< E, M >::NotifieeConst
    : public Notify::EntityNotifiee< E, Zet::Entity::NotifieeConst, Zet::Name > {
 public:
   virtual void onGroup( Zet::Name ) {}
   virtual void onGroupzetImmediate() {}
   virtual void onGroup() {}
};

// The rows of E, which is Config or Status.
template < class E >
inline constexpr std::tuple groupCollectionRows{
   Notify::EntityCollectionRow< Notify::reader( &E::group ), &E::groupMembers, &E::groupIs,
                                &E::groupDel,
                                Notify::keyed< Zet::Name >( &E::NotifieeConst::onGroup ) >{
       258, "group" },
};

template < class E, class M >
Zet::Ptr< M >
GroupCollection< E, M >::groupIs( Zet::Name name ) {
   if ( Zet::Ptr< Member > const member = group( name ) )
      return member;
   Zet::Ptr< Member > const member = newGroup( name );
   notifyGroup( name );
   return member;
}

template < class E, class M >
Zet::Ptr< M >
GroupCollection< E, M >::newGroup( Zet::Name name ) {
   constexpr auto const& row = Notify::rowOf< E, Notify::reader( &E::group ) >();
   return group_.newMember( *this, row.id, Zet::validPtr( Zet::make< Member >( name ) ) );
}

template < class E, class M >
void
GroupCollection< E, M >::groupNotify( Zet::Name name, Zet::Ptr< Member > const& member ) {
   member->parentIs( nullptr );
   notifyGroup( name );
}

template < class E, class M >
void
GroupCollection< E, M >::notifyGroup( Zet::Name const& name ) {
   this->template notify< Notify::reader( &E::group ) >( name );
}

template < class E, class M >
void
GroupCollection< E, M >::groupsEnd() noexcept {
   group_.end( *this, Notify::rowOf< E, Notify::reader( &E::group ) >().id );
   notifiees_.deleteAll();
}

} // namespace UplinkFailureDetection
