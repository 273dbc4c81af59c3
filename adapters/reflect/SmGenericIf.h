#pragma once

#include "adapters/reflect/Bridge.h"
#include "sm/Root.h"

namespace UplinkFailureDetection {

class ZET_EXPORT UplinkFailureDetectionIntfSm::GenericIf_
    : public Reflect::ReflectedMachineIf< UplinkFailureDetectionIntfSm > {
 public:
   using ReflectedIf::ReflectedIf;
};

class ZET_EXPORT UplinkFailureDetectionGroupSm::GenericIf_
    : public Reflect::ReflectedMachineIf< UplinkFailureDetectionGroupSm > {
 public:
   using ReflectedIf::ReflectedIf;
};

class ZET_EXPORT UplinkFailureDetectionSm::GenericIf_
    : public Reflect::ReflectedMachineIf< UplinkFailureDetectionSm > {
 public:
   using ReflectedIf::ReflectedIf;
};

class ZET_EXPORT Root::GenericIf_ : public Reflect::ReflectedEntityIf< Root > {
 public:
   class GenericIf_Adapter_;
   using ReflectedEntityIf::ReflectedEntityIf;
};

class ZET_EXPORT Root::GenericIf_::GenericIf_Adapter_ : public Reflect::Bridge< Root > {
 public:
   using Bridge::Bridge;
   void onUplinkFailureDetectionSm() override { changed< &Root::uplinkFailureDetectionSm >(); }
};

} // namespace UplinkFailureDetection
