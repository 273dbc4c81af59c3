#pragma once

#include "adapters/reflect/Bridge.h"
#include "model/Config.h"
#include "model/GroupConfig.h"
#include "model/GroupStatus.h"
#include "model/Status.h"

namespace UplinkFailureDetection {

class ZET_EXPORT GroupConfig::GenericIf_ : public Reflect::ReflectedEntityIf< GroupConfig > {
 public:
   using ReflectedEntityIf::ReflectedEntityIf;
};

class ZET_EXPORT GroupStatus::GenericIf_ : public Reflect::ReflectedEntityIf< GroupStatus > {
 public:
   using ReflectedEntityIf::ReflectedEntityIf;
};

class ZET_EXPORT Config::GenericIf_ : public Reflect::ReflectedEntityIf< Config > {
 public:
   using ReflectedEntityIf::ReflectedEntityIf;
};

class ZET_EXPORT Status::GenericIf_ : public Reflect::ReflectedEntityIf< Status > {
 public:
   using ReflectedEntityIf::ReflectedEntityIf;
};

} // namespace UplinkFailureDetection
