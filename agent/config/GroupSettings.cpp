#include "agent/config/GroupSettings.h"

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;

std::string
routesText( std::vector< RouteCondition > const& routes ) {
   std::string text;
   for ( RouteCondition const& route : routes )
      text += ( text.empty() ? "" : ", " ) + route.text();
   return text;
}

GroupMode
GroupPolicy::mode( OrderKind order ) const {
   if ( order != OrderKind::none )
      return order == OrderKind::disable ? GroupMode::disabled : GroupMode::orderedDown;
   return !enabled    ? GroupMode::disabled
          : dryRun    ? GroupMode::dryRun
          : forceDown ? GroupMode::orderedDown
                      : GroupMode::acting;
}

GroupSettings::GroupSettings( std::string_view name )
    : config( GroupConfig::GroupConfigIs( name ) ) {}

GroupSettings::GroupSettings( std::string_view name,
                              std::initializer_list< std::string_view > monitor,
                              std::initializer_list< std::string_view > disable,
                              unsigned int minLinks )
    : GroupSettings( name ) {
   for ( std::string_view const uplink : monitor )
      config->intfsToMonitorIs( Kelnet::IntfId( uplink ), true );
   for ( std::string_view const port : disable )
      config->intfsToDisableIs( Kelnet::IntfId( port ), true );
   config->minLinksIs( minLinks );
}

} // namespace Ufdd
