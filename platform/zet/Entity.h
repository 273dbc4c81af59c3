#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/NotifieeConst.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/PtrInterface.h"
#include "platform/zet/String8.h"

namespace Zet {

namespace NboAttrLog {
class Out;
} // namespace NboAttrLog

// A named object with a place below a parent, attributes and a list of notifiees.
class ZET_EXPORT Entity : public PtrInterface {
 public:
   class NotifieeConst;
   class ZetNboAttrLogSa;

   virtual Name name() const;
   virtual Ptr< Entity const > parent() const;
   virtual Ptr< Entity > parent();
   // Sets the parent. Borrows: the parent clears this pointer before it goes.
   virtual void parentIs( Ptr< Entity > const& parent );
   // Return the parent's attribute that holds this entity: its name (empty without parent) or its
   // id.
   virtual String8 parentAttr() const;
   virtual AttributeId parentAttrId() const;
   virtual void parentAttrIdIs( AttributeId id );
   // Return a path. uriPath() contains names and attributes, "/config/group/g1"; fullName() names
   // alone.
   virtual String8 uriPath() const;
   virtual String8 fullName() const;
   // Returns the attribute's name. The text begins with "unknown" for an id that is no attribute.
   virtual String8 attributeString( AttributeId id ) const;
   // Attaches and registers a notifiee of any type. The entity's list does not keep it alive: a
   // notifiee that the caller does not keep is destroyed before it hears anything. observing() of
   // host/Observing.h makes the compiler warn of that.
   virtual void zetNotifieeAdapterIs( Ptr< PtrInterface::NotifieeConst > const& notifiee );
   // Called after the parent has changed.
   virtual void handleParent();

   // The entity's adapters in attribute logs. By default there are none.
   virtual Ptr< ZetNboAttrLogSa > zetNboAttrLogSa( Ptr< NboAttrLog::Out const > const& out ) const;
   virtual bool zetHasAttrLogInterface() const;
   virtual Ptr< ZetNboAttrLogSa > zetNboAttrLogSa( Ptr< NboAttrLog::Out const > const& out );
   virtual Ptr< ZetNboAttrLogSa >
   zetNboAttrLogSaForMsgChannel( Ptr< ZetNboAttrLogSa > const& adapter );
   virtual Ptr< ZetNboAttrLogSa > zetNboAttrLogSaIs( PtrInterface::NotifieeConst::Zet_BitSet mask,
                                                     unsigned int flags,
                                                     Ptr< NboAttrLog::Out > const& out,
                                                     PtrInterface* owner );
   virtual void zetNboAttrLogSaDel( Ptr< NboAttrLog::Out > const& out );

   // Returns the name without copying it. Valid until: the entity goes.
   Name const& zetName() const noexcept { return name_; }

   static Ptr< ZetType const > _fwkType();
   Ptr< ZetType const > fwkType() const override;

 protected:
   explicit Entity( Name name ) : name_( std::move( name ) ) {}
   ~Entity() override;

 private:
   // First, to fill the gap behind the base's count.
   AttributeId parentAttrId_ = 0;
   Name name_;
   Entity* parent_ = nullptr;
};

// The notifications that every entity has.
class ZET_EXPORT Entity::NotifieeConst : public PtrInterface::NotifieeConst {
 public:
   virtual void onParent();
   virtual void onVersion();
};

} // namespace Zet
