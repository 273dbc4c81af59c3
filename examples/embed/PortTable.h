#pragma once

#include <ufd/adapters/attrlog/Attach.h>
#include <ufd/adapters/notify/Description.h>
#include <ufd/adapters/notify/EntityNotifiee.h>
#include <ufd/adapters/notify/LoggedEntity.h>
#include <ufd/adapters/notify/ValueCollection.h>
#include <ufd/platform/kelnet/IntfId.h>
#include <ufd/platform/zet/ListRaw.h>

// What this host tells other processes: which of its ports are shut. A type of the host's own. Its
// accessors, handlers and rows are all that the attribute log needs to replicate it.
class PortTable : public Notify::LoggedEntity< PortTable > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< PortTable >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   using ZetShut = Notify::ValueMember< Kelnet::IntfId, bool, PortTable >;

   explicit PortTable( Zet::Name name ) : LoggedEntity( std::move( name ) ) {}

   bool shut( Kelnet::IntfId port ) const { return shut_.value( port ); }
   void shutIs( Kelnet::IntfId port, bool shut ) { shut_.valueIs( *this, port, shut ); }
   bool shutDel( Kelnet::IntfId port ) { return shut_.valueDel( *this, port ); }
   void shutNotify( Kelnet::IntfId port, Zet::Ptr< ZetShut > const& ) {
      notify< &PortTable::shut >( port );
   }

   using Shut = Notify::ValueCollection< &PortTable::shutNotify >;
   Shut::Members const& shutMembers() const { return shut_.members(); }

 protected:
   ~PortTable() override { notifiees_.deleteAll(); }

 private:
   friend class Notify::NotifyingEntity< PortTable >;

   Shut shut_;
   mutable NotifieeList notifiees_;
};

class PortTable::NotifieeConst
    : public Notify::EntityNotifiee< PortTable, Zet::Entity::NotifieeConst, Kelnet::IntfId > {
 public:
   virtual void onShut( Kelnet::IntfId ) {}
};

template <> struct Notify::Description< PortTable > {
   using T = PortTable;
   static constexpr std::string_view nameSpace = "Embed";
   static constexpr std::string_view name = "PortTable";
   static constexpr std::tuple attributes{
      ValueCollectionRow< &T::shut, &T::shutMembers, &T::shutIs, &T::shutDel,
                          &T::NotifieeConst::onShut >{ 258, "shut" },
   };
};
