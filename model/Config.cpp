#include "model/Config.h"

namespace UplinkFailureDetection {

Config::~Config() {
   groupsEnd();
}

Zet::Ptr< Config >
Config::ConfigIs( Zet::Name name ) {
   return Zet::validPtr( Zet::make< Config >( std::move( name ) ) );
}

Zet::Ptr< Config >
configFactory( Zet::Name name ) {
   return Config::ConfigIs( std::move( name ) );
}

} // namespace UplinkFailureDetection
