#pragma once

#include "adapters/reflect/Bridge.h"
#include "model/Config.h"
#include "model/GroupConfig.h"
#include "model/GroupStatus.h"
#include "model/Status.h"

namespace UplinkFailureDetection {

class ZET_EXPORT GroupConfig::GenericIf_ : public Reflect::ReflectedEntityIf< GroupConfig > {
 public:
   class GenericIf_Adapter_;
   using ReflectedEntityIf::ReflectedEntityIf;
};

class ZET_EXPORT GroupConfig::GenericIf_::GenericIf_Adapter_
    : public Reflect::Bridge< GroupConfig > {
 public:
   using Bridge::Bridge;
   void onIntfsToMonitor( Kelnet::IntfId intfId ) override {
      changedAt< &GroupConfig::intfsToMonitor >( intfId );
   }
   void onIntfsToMonitor() override { changed< &GroupConfig::intfsToMonitor >(); }
   void onIntfsToDisable( Kelnet::IntfId intfId ) override {
      changedAt< &GroupConfig::intfsToDisable >( intfId );
   }
   void onIntfsToDisable() override { changed< &GroupConfig::intfsToDisable >(); }
   void onMinLinks() override { changed< &GroupConfig::minLinks >(); }
};

class ZET_EXPORT GroupStatus::GenericIf_ : public Reflect::ReflectedEntityIf< GroupStatus > {
 public:
   class GenericIf_Adapter_;
   using ReflectedEntityIf::ReflectedEntityIf;
};

class ZET_EXPORT GroupStatus::GenericIf_::GenericIf_Adapter_
    : public Reflect::Bridge< GroupStatus > {
 public:
   using Bridge::Bridge;
   void onGroupLinkStatus() override { changed< &GroupStatus::groupLinkStatus >(); }
   void onNumTimesDisabled() override { changed< &GroupStatus::numTimesDisabled >(); }
   void onPrevDisabledTime() override { changed< &GroupStatus::prevDisabledTime >(); }
};

// For Config and Status alike.
template < class E > class ZET_EXPORT GroupCollectionBridge : public Reflect::Bridge< E > {
   static constexpr auto group = Notify::reader( &E::group );

 public:
   using Reflect::Bridge< E >::Bridge;
   void onGroup( Zet::Name name ) override { this->template changedAt< group >( name ); }
   void onGroup() override { this->template changed< group >(); }
};

class ZET_EXPORT Config::GenericIf_ : public Reflect::ReflectedEntityIf< Config > {
 public:
   using GenericIf_Adapter_ = GroupCollectionBridge< Config >;
   using ReflectedEntityIf::ReflectedEntityIf;
};

class ZET_EXPORT Status::GenericIf_ : public Reflect::ReflectedEntityIf< Status > {
 public:
   using GenericIf_Adapter_ = GroupCollectionBridge< Status >;
   using ReflectedEntityIf::ReflectedEntityIf;
};

} // namespace UplinkFailureDetection
