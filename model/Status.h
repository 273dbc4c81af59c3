#pragma once

#include "model/GroupCollection.h"
#include "model/GroupStatus.h"

namespace UplinkFailureDetection {

// The root of the status. Holds one GroupStatus per configured group.
class ZET_EXPORT Status : public GroupCollection< Status, GroupStatus > {
 public:
   class _Type;
   class GenericIf_;
   class ZetNboAttrLogSa;

   explicit Status( Zet::Name name ) : GroupCollection( std::move( name ) ) {}
   // Returns a new Status without groups and without parent.
   [[nodiscard]] static Zet::Ptr< Status > StatusIs( Zet::Name name );
   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~Status() override;
};

// Does the same as Status::StatusIs(), for the process that hosts the library.
[[nodiscard]] ZET_EXPORT Zet::Ptr< Status > statusFactory( Zet::Name name );

} // namespace UplinkFailureDetection

extern template class Notify::LoggedEntity< UplinkFailureDetection::Status >;

template <> struct Notify::Description< UplinkFailureDetection::Status > {
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "Status";
   static constexpr auto attributes =
       UplinkFailureDetection::groupCollectionRows< UplinkFailureDetection::Status >;
};
