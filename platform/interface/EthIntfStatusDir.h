#pragma once

#include "adapters/notify/EntityCollection.h"
#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/NotifyingEntity.h"
#include "platform/interface/EthIntfStatus.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/ListLinked.h"

namespace Interface {

// The Ethernet interfaces that exist, by name.
class ZET_EXPORT EthIntfStatusDir : public Notify::NotifyingEntity< EthIntfStatusDir > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< EthIntfStatusDir >;
   // Linked both ways: every group watches the directory.
   using NotifieeList = Zet::ListLinked< NotifieeConst >;

   explicit EthIntfStatusDir( Zet::Name name ) : NotifyingEntity( std::move( name ) ) {}
   [[nodiscard]] static Zet::Ptr< EthIntfStatusDir > EthIntfStatusDirIs( Zet::Name name );

   // Returns null when there is no such interface. Borrows: valid until the entry is removed.
   EthIntfStatus* intfStatus( Kelnet::IntfId intfId ) noexcept {
      return intfStatus_.find( intfId );
   }
   EthIntfStatus const* intfStatus( Kelnet::IntfId intfId ) const noexcept {
      return intfStatus_.find( intfId );
   }
   // Returns the entry of that interface. Makes it if there is none.
   Zet::Ptr< EthIntfStatus > intfStatusIs( Kelnet::IntfId intfId );
   // Makes `status` the entry of its interface and tells the notifiees once. Replaces an earlier
   // entry.
   // Requires: `status` is in no other directory (asserted).
   void intfStatusIs( Zet::Ptr< EthIntfStatus > const& status );
   // Removes the entry and returns it. Returns null when there was none.
   Zet::Ptr< EthIntfStatus > intfStatusDel( Kelnet::IntfId intfId );
   void intfStatusNotify( Kelnet::IntfId intfId, Zet::Ptr< EthIntfStatus > const& status );

   using IntfStatusCollection = Notify::EntityCollection< &EthIntfStatusDir::intfStatusNotify >;
   using IntfStatusIteratorConst = IntfStatusCollection::IteratorConst;
   IntfStatusIteratorConst intfStatusIteratorConst() const { return intfStatus_.iteratorConst(); }

 protected:
   ~EthIntfStatusDir() override;

 private:
   friend class Notify::NotifyingEntity< EthIntfStatusDir >;

   IntfStatusCollection intfStatus_;
   mutable NotifieeList notifiees_;
};

class ZET_EXPORT EthIntfStatusDir::NotifieeConst
    : public Notify::EntityNotifiee< EthIntfStatusDir, Zet::Entity::NotifieeConst,
                                     Kelnet::IntfId > {
 public:
   virtual void onIntfStatus( Kelnet::IntfId ) {}
   virtual void onIntfStatuszetImmediate() {}
   virtual void onIntfStatus() {}
};

} // namespace Interface

template <> struct Notify::Description< Interface::EthIntfStatusDir > {
   using T = Interface::EthIntfStatusDir;
   static constexpr std::string_view nameSpace = "Interface";
   static constexpr std::string_view name = "EthIntfStatusDir";
   static constexpr std::tuple attributes{
      Notified< reader( &T::intfStatus ),
                keyed< Kelnet::IntfId >( &T::NotifieeConst::onIntfStatus ) >{ 258, "intfStatus" },
   };
};
