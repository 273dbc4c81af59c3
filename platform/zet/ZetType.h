#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/PtrInterface.h"
#include "platform/zet/String8.h"

#include <vector>

namespace Zet {

// The descriptor of a type: one per type, made on first use and never destroyed.
class ZET_EXPORT ZetType : public PtrInterface {
 public:
   // A new descriptor, recorded among the derived types of `base` where there is one.
   // Its reference is valid for the life of the process.
   static ZetType const& ZetTypeIs( Name name, Ptr< ZetType const > const& base );

   // The short name: "GroupConfig".
   Name const& name() const noexcept { return name_; }
   // Null for a type without base.
   Ptr< ZetType const > const& base() const noexcept { return base_; }
   std::vector< Ptr< ZetType const > > const& derivedTypes() const noexcept {
      return derivedTypes_;
   }

 private:
   ZetType( Name name, Ptr< ZetType const > base )
       : name_( std::move( name ) ), base_( std::move( base ) ) {}

   Name name_;
   Ptr< ZetType const > base_;
   // Grows as types are made; the types that derive do not change what this one is.
   mutable std::vector< Ptr< ZetType const > > derivedTypes_;
};

} // namespace Zet
