#include "platform/zet/Entity.h"

#include "platform/zet/ZetType.h"
#include "platform/zet/attrlog/StreamAdapter.h"

namespace Zet {

Entity::~Entity() = default;

Name
Entity::name() const {
   return name_;
}

Ptr< Entity const >
Entity::parent() const {
   return parent_;
}

Ptr< Entity >
Entity::parent() {
   return parent_;
}

void
Entity::parentIs( Ptr< Entity > const& parent ) {
   parent_ = parent.get();
   handleParent();
}

String8
Entity::parentAttr() const {
   return parent_ ? parent_->attributeString( parentAttrId_ ) : String8();
}

AttributeId
Entity::parentAttrId() const {
   return parentAttrId_;
}

void
Entity::parentAttrIdIs( AttributeId id ) {
   parentAttrId_ = id;
}

String8
Entity::uriPath() const {
   return parent_ ? parent_->uriPath() + "/" + parentAttr() + "/" + name_ : "/" + name_;
}

String8
Entity::fullName() const {
   return parent_ ? parent_->fullName() + "/" + name_ : "/" + name_;
}

String8
Entity::attributeString( AttributeId id ) const {
   return "unknown attribute " + String8( std::to_string( id ) );
}

void
Entity::zetNotifieeAdapterIs( Ptr< PtrInterface::NotifieeConst > const& notifiee ) {
   notifiee->notifierIs( Ptr< PtrInterface const >( this ) );
   notifiee->isRegisteredNotifieeIs( true );
}

void
Entity::handleParent() {}

Ptr< Entity::ZetNboAttrLogSa >
Entity::zetNboAttrLogSa( Ptr< NboAttrLog::Out const > const& ) const {
   return nullptr;
}

bool
Entity::zetHasAttrLogInterface() const {
   return false;
}

Ptr< Entity::ZetNboAttrLogSa >
Entity::zetNboAttrLogSa( Ptr< NboAttrLog::Out const > const& ) {
   return nullptr;
}

Ptr< Entity::ZetNboAttrLogSa >
Entity::zetNboAttrLogSaForMsgChannel( Ptr< ZetNboAttrLogSa > const& ) {
   return nullptr;
}

Ptr< Entity::ZetNboAttrLogSa >
Entity::zetNboAttrLogSaIs( PtrInterface::NotifieeConst::Zet_BitSet, unsigned int,
                           Ptr< NboAttrLog::Out > const&, PtrInterface* ) {
   return nullptr;
}

void
Entity::zetNboAttrLogSaDel( Ptr< NboAttrLog::Out > const& ) {}

Ptr< ZetType const >
Entity::_fwkType() {
   static ZetType const& type = ZetType::ZetTypeIs( "Zet", "Entity", PtrInterface::_fwkType() );
   return &type;
}

Ptr< ZetType const >
Entity::fwkType() const {
   return _fwkType();
}

void
Entity::NotifieeConst::onParent() {}

void
Entity::NotifieeConst::onVersion() {}

} // namespace Zet
