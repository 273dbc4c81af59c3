#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/LoggedEntity.h"
#include "agent/state/OrderKind.h"

#include <tuple>

namespace Ufdd {

// What a GroupState and a PortState have in common: the order of an operator about it. E is one of
// the two.
template < class E > class OrderedState : public Notify::LoggedEntity< E > {
 public:
   OrderKind order() const noexcept { return order_; }
   void orderIs( OrderKind order ) { this->template attributeIs< &E::order >( order_, order ); }
   // When it was given, and when it ends: 0 if no time ends it. In seconds of Zet::now().
   double orderTime() const noexcept { return orderTime_; }
   void orderTimeIs( double time ) {
      this->template attributeIs< &E::orderTime >( orderTime_, time );
   }
   double orderEndTime() const noexcept { return orderEndTime_; }
   void orderEndTimeIs( double time ) {
      this->template attributeIs< &E::orderEndTime >( orderEndTime_, time );
   }
   // The user who gave it.
   unsigned int orderUid() const noexcept { return orderUid_; }
   void orderUidIs( unsigned int uid ) {
      this->template attributeIs< &E::orderUid >( orderUid_, uid );
   }
   // Why, in the operator's words.
   Zet::String8 orderReason() const { return orderReason_; }
   void orderReasonIs( Zet::String8 reason ) {
      this->template attributeIs< &E::orderReason >( orderReason_, std::move( reason ) );
   }

 protected:
   using Notify::LoggedEntity< E >::LoggedEntity;

 private:
   OrderKind order_ = OrderKind::none;
   double orderTime_ = 0;
   double orderEndTime_ = 0;
   unsigned int orderUid_ = 0;
   Zet::String8 orderReason_;
};

// The common part of their notifiees.
template < class E, class... Key >
class OrderedNotifiee : public Notify::EntityNotifiee< E, Zet::Entity::NotifieeConst, Key... > {
 public:
   virtual void onOrder() {}
   virtual void onOrderTime() {}
   virtual void onOrderEndTime() {}
   virtual void onOrderUid() {}
   virtual void onOrderReason() {}
};

// The rows of these attributes, whose ids begin with `first`.
template < class T, class N = typename T::NotifieeConst >
constexpr auto
orderRows( Zet::AttributeId first ) {
   using namespace Notify;
   return std::tuple{
      Scalar< &T::order, &T::orderIs, &N::onOrder >{ first, "order" },
      Scalar< &T::orderTime, &T::orderTimeIs, &N::onOrderTime >{ first + 1, "orderTime" },
      Scalar< &T::orderEndTime, &T::orderEndTimeIs, &N::onOrderEndTime >{ first + 2,
                                                                          "orderEndTime" },
      Scalar< &T::orderUid, &T::orderUidIs, &N::onOrderUid >{ first + 3, "orderUid" },
      Scalar< &T::orderReason, &T::orderReasonIs, &N::onOrderReason >{ first + 4, "orderReason" },
   };
}

} // namespace Ufdd
