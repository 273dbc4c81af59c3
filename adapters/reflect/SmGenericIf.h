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
   using ReflectedEntityIf::ReflectedEntityIf;
};

} // namespace UplinkFailureDetection
