#include "agent/ctl/MetricsText.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace Ufdd {
namespace {

using UplinkFailureDetection::GroupLinkStatus;

// What ufdctl makes metrics of: a group whose name has all that the format must escape.
class MetricsTest : public testing::Test {
 protected:
   MetricsTest() {
      roots.config->groupIs( name )->intfsToMonitorIs( Kelnet::IntfId( "u10" ), true );
      roots.config->groupIs( name )->intfsToMonitorIs( Kelnet::IntfId( "u9" ), true );
      roots.status->groupIs( name )->groupLinkStatusIs( GroupLinkStatus::down );
      roots.state->groupIs( name )->modeIs( GroupMode::dryRun );
      roots.state->groupIs( "b" );
      for ( char const* const uplink : { "u9", "u10" } )
         roots.state->linkIs( uplink )->conditionIs( LinkCondition::up );
   }
   bool has( std::string const& line ) const {
      return ( '\n' + metricsText( roots ) ).find( '\n' + line + '\n' ) != std::string::npos;
   }

   StatusRoots const roots = StatusRoots::make();
   Zet::Name const name = "a\"\\\nb";
};

TEST_F( MetricsTest, escapesNamesAndKeepsTheirOrder ) {
   std::string const group = R"(group="a\"\\\nb")";
   EXPECT_TRUE( has( "ufdd_group_state{" + group + ",state=\"unknown\"} 0\nufdd_group_state{" +
                     group + ",state=\"up\"} 0\nufdd_group_state{" + group +
                     ",state=\"down\"} 1" ) )
       << metricsText( roots );
   std::string const member = "ufdd_group_member_info{" + group + ",device=\"";
   std::string const members =
       member + "u9\",role=\"uplink\"} 1\n" + member + "u10\",role=\"uplink\"} 1";
   EXPECT_TRUE( has( members ) );
   roots.state->link( "u10" )->conditionIs( LinkCondition::absent );
   EXPECT_TRUE( has( members ) );
   EXPECT_TRUE( has( "ufdd_uplink_up{device=\"u10\"} 0\nufdd_uplink_up{device=\"u9\"} 1" ) );
}

TEST_F( MetricsTest, tellsOfEachConditionWhetherThePortIsWantedShutAndHeld ) {
   auto const port = roots.state->portIs( "d1" );
   using enum PortCondition;
   for ( auto const& [ condition, means, group, wanted, held, overridden ] : std::initializer_list<
             std::tuple< PortCondition, PortMeans, char const*, int, int, int > >{
             { open, PortMeans::none, "b", 0, 0, 0 },
             { opening, PortMeans::down, "b", 0, 1, 0 },
             { shut, PortMeans::down, "b", 1, 1, 0 },
             { ordered, PortMeans::down, "b", 1, 1, 0 },
             { latched, PortMeans::down, "b", 1, 1, 0 },
             { foreign, PortMeans::none, "b", 0, 0, 0 },
             { shutting, PortMeans::none, "b", 1, 0, 0 },
             { failed, PortMeans::none, "b", 1, 0, 0 },
             { failed, PortMeans::members, "b", 1, 0, 0 },
             { failed, PortMeans::down, "", 0, 1, 0 },
             { failed, PortMeans::down, "a\"\\\nb", 0, 1, 0 }, // It is in dry run.
             { absent, PortMeans::none, "b", 0, 0, 0 },
             { PortCondition::overridden, PortMeans::none, "b", 1, 0, 1 },
             { isProtected, PortMeans::none, "b", 0, 0, 0 },
             { defaultRoute, PortMeans::none, "b", 0, 0, 0 },
             { dryRun, PortMeans::none, "a\"\\\nb", 0, 0, 0 } } ) {
      port->conditionIs( condition );
      port->meansIs( means );
      for ( char const* const each : { "b", "a\"\\\nb" } )
         port->groupIs( each, std::string( each ) == group );
      SCOPED_TRACE( Notify::textOf( condition ).c_str() );
      for ( auto const& [ family, value ] :
            { std::pair( "wanted_shut", wanted ), { "held", held }, { "overridden", overridden } } )
         EXPECT_TRUE( has( std::string( "ufdd_port_" ) + family + "{device=\"d1\"} " +
                           std::to_string( value ) ) )
             << family;
   }
   port->conditionIs( failed );
   port->orderIs( OrderKind::down );
   EXPECT_TRUE( has( "ufdd_port_wanted_shut{device=\"d1\"} 1" ) );
}

TEST_F( MetricsTest, addsUpReactions ) {
   roots.state->reactionsIs( "0.0005", 2 );
   roots.state->reactionsIs( "inf", 1 );
   roots.state->reactionSecondsIs( 1.75 );
   std::string const family = "ufdd_reaction_seconds_";
   EXPECT_TRUE( has( family + "bucket{action=\"shut\",le=\"0.00025\"} 0\n" + family +
                     "bucket{action=\"shut\",le=\"0.0005\"} 2" ) );
   EXPECT_TRUE( has( family + "bucket{action=\"shut\",le=\"1\"} 2\n" + family +
                     "bucket{action=\"shut\",le=\"+Inf\"} 3\n" + family +
                     "sum{action=\"shut\"} 1.75\n" + family + "count{action=\"shut\"} 3" ) );
}

} // namespace
} // namespace Ufdd
