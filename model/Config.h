#pragma once

#include "model/GroupCollection.h"
#include "model/GroupConfig.h"

namespace UplinkFailureDetection {

// The root of the configuration. Holds one GroupConfig per group.
class ZET_EXPORT Config : public GroupCollection< Config, GroupConfig > {
 public:
   class _Type;
   class GenericIf_;
   class ZetNboAttrLogSa;

   explicit Config( Zet::Name name ) : GroupCollection( std::move( name ) ) {}
   // Returns a new Config without groups and without parent.
   [[nodiscard]] static Zet::Ptr< Config > ConfigIs( Zet::Name name );
   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~Config() override;
};

// Does the same as Config::ConfigIs(), for the process that hosts the library.
[[nodiscard]] ZET_EXPORT Zet::Ptr< Config > configFactory( Zet::Name name );

} // namespace UplinkFailureDetection

extern template class Notify::LoggedEntity< UplinkFailureDetection::Config >;

template <> struct Notify::Description< UplinkFailureDetection::Config > {
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "Config";
   static constexpr auto attributes =
       UplinkFailureDetection::groupCollectionRows< UplinkFailureDetection::Config >;
};
