#include "model/GroupConfig.h"

namespace UplinkFailureDetection {

GroupConfig::~GroupConfig() {
   notifiees_.deleteAll();
}

Zet::Ptr< GroupConfig >
GroupConfig::GroupConfigIs( Zet::Name name ) {
   return Zet::validPtr( Zet::make< GroupConfig >( std::move( name ) ) );
}

void
GroupConfig::intfsToMonitorIs( Kelnet::IntfId intfId, bool watched ) {
   intfsToMonitor_.valueIs( *this, intfId, watched );
}

Zet::Ptr< GroupConfig::ZetIntfsToMonitor >
GroupConfig::newIntfsToMonitor( Kelnet::IntfId intfId, bool watched ) {
   return intfsToMonitor_.newMember( intfId, watched );
}

bool
GroupConfig::intfsToMonitorDel( Kelnet::IntfId intfId ) {
   return intfsToMonitor_.valueDel( *this, intfId );
}

void
GroupConfig::intfsToMonitorNotify( Kelnet::IntfId intfId, Zet::Ptr< ZetIntfsToMonitor > const& ) {
   notify< &GroupConfig::intfsToMonitor >( intfId );
}

void
GroupConfig::intfsToDisableIs( Kelnet::IntfId intfId, bool flag ) {
   intfsToDisable_.valueIs( *this, intfId, flag );
}

Zet::Ptr< GroupConfig::ZetIntfsToDisable >
GroupConfig::newIntfsToDisable( Kelnet::IntfId intfId, bool flag ) {
   return intfsToDisable_.newMember( intfId, flag );
}

bool
GroupConfig::intfsToDisableDel( Kelnet::IntfId intfId ) {
   return intfsToDisable_.valueDel( *this, intfId );
}

void
GroupConfig::intfsToDisableNotify( Kelnet::IntfId intfId, Zet::Ptr< ZetIntfsToDisable > const& ) {
   notify< &GroupConfig::intfsToDisable >( intfId );
}

void
GroupConfig::minLinksIs( unsigned int minLinks ) {
   if ( minLinks == minLinks_ )
      return;
   minLinks_ = minLinks;
   notify< &GroupConfig::minLinks >();
}

} // namespace UplinkFailureDetection
