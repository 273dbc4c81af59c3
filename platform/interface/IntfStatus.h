#pragma once

#include "platform/kelnet/IntfId.h"
#include "platform/zet/Entity.h"

namespace Interface {

// The common base of the statuses of all kinds of interfaces. The entity's name is the interface's.
class ZET_EXPORT IntfStatus : public Zet::Entity {
 public:
   class NotifieeConst : public Zet::Entity::NotifieeConst {};

   Kelnet::IntfId intfId() const noexcept { return intfId_; }

   static Zet::Ptr< Zet::ZetType const > _fwkType();
   Zet::Ptr< Zet::ZetType const > fwkType() const override;

 protected:
   explicit IntfStatus( Kelnet::IntfId intfId ) : Entity( intfId.name() ), intfId_( intfId ) {}

 private:
   Kelnet::IntfId intfId_;
};

} // namespace Interface
