#include "agent/ctl/MetricsText.h"

#include "agent/base/Log.h"
#include "agent/ctl/MetricSamples.h"
#include "agent/ctl/View.h"

#include <array>
#include <map>
#include <type_traits>

namespace Ufdd {

using UplinkFailureDetection::GroupStatus;

namespace {

using Samples = MetricSamples;

// The entity that has an attribute, by the attribute's reader.
template < class > struct OwnerOf;
template < class Owner, class V > struct OwnerOf< V ( Owner::* )() const > { using Type = Owner; };
template < class Owner, class V > struct OwnerOf< V ( Owner::* )() const noexcept > {
   using Type = Owner;
};

// Reads an attribute of a group: of its state or its status.
template < auto Get >
auto
valueOf( View::Group const& group ) {
   using Owner = typename OwnerOf< decltype( Get ) >::Type;
   if constexpr ( std::is_same_v< Owner, GroupState > )
      return ( *group.state.*Get )();
   else
      return ( *group.status.*Get )();
}

// Each of these adds the samples of one family.

template < auto Get >
void
ofAgent( Samples& samples, View const& view ) {
   samples.add( {}, ( *view.agent.*Get )() );
}

template < auto Get >
void
ofGroups( Samples& samples, View const& view ) {
   for ( View::Group const& group : view.groups )
      samples.add( { { "group", group.name() } }, valueOf< Get >( group ) );
}

// Adds a sample for each group and value of an enumeration: 1 for the value that the group has. The
// values before `first` get none.
template < auto Get >
void
choicesOfGroups( Samples& samples, View const& view, std::string_view label,
                 std::size_t first = 0 ) {
   using Choice = decltype( valueOf< Get >( view.groups.front() ) );
   auto const& texts = Notify::Description< Choice >::enumerators;
   for ( View::Group const& group : view.groups )
      for ( std::size_t choice = first; choice < texts.size(); ++choice )
         samples.add( { { "group", group.name() }, { label, texts[ choice ] } },
                      static_cast< std::size_t >( valueOf< Get >( group ) ) == choice );
}

template < bool ( *Is )( View const&, PortState const& ) >
void
ofPorts( Samples& samples, View const& view ) {
   for ( View::Port const& port : view.ports )
      samples.add( { { "device", nameOf( *port ) } }, Is( view, *port ) );
}

void
addMembers( Samples& samples, View const& view ) {
   for ( View::Group const& group : view.groups ) {
      auto const add = [ & ]( Zet::Entity const& link, char const* role ) {
         samples.add( { { "group", group.name() }, { "device", nameOf( link ) }, { "role", role } },
                      1 );
      };
      for ( View::Link const& uplink : group.uplinks )
         add( *uplink, "uplink" );
      for ( View::Port const& port : group.ports )
         add( *port, "port" );
   }
}

void
addUplinks( Samples& samples, View const& view ) {
   std::map< std::string, bool > isUp; // Each uplink once, by its name.
   for ( View::Group const& group : view.groups )
      for ( View::Link const& uplink : group.uplinks )
         isUp[ nameOf( *uplink ) ] = uplink->condition() == LinkCondition::up;
   for ( auto const& [ name, is ] : isUp )
      samples.add( { { "device", name } }, is );
}

void
addChecks( Samples& samples, View const& view ) {
   for ( View::Check const& check : view.checks )
      for ( std::size_t verdict = 0;
            char const* const text : Notify::Description< CheckVerdict >::enumerators )
         samples.add( { { "check", nameOf( *check ) }, { "state", text } },
                      static_cast< std::size_t >( check->verdict() ) == verdict++ );
}

// Returns true if an order, or a group that is not in dry run, wants the port shut.
bool
isWantedInEarnest( View const& view, PortState const& port ) {
   bool isWanted = port.order() == OrderKind::down;
   port.groupMembers().forEach( [ & ]( auto const& group ) {
      auto const state = view.agent->group( group.zetKey() );
      isWanted |= group.value() && !( state && state->mode() == GroupMode::dryRun );
   } );
   return isWanted;
}

bool
isToBeShut( View const& view, PortState const& port ) {
   switch ( port.condition() ) {
   case PortCondition::shut:
   case PortCondition::ordered:
   case PortCondition::latched:
   case PortCondition::shutting:
   case PortCondition::overridden:
      return true;
   case PortCondition::failed:
      return isWantedInEarnest( view, port );
   default:
      return false;
   }
}

bool
isOurs( View const& view, PortState const& port ) {
   switch ( port.condition() ) {
   case PortCondition::shut:
   case PortCondition::ordered:
   case PortCondition::latched:
   case PortCondition::opening:
      return true;
   case PortCondition::failed: // A LAG may be shut in part.
      return port.means() != PortMeans::none && !isWantedInEarnest( view, port );
   default:
      return false;
   }
}

bool
isOverridden( View const&, PortState const& port ) {
   return port.condition() == PortCondition::overridden;
}

void
addActions( Samples& samples, unsigned int all, unsigned int opened ) {
   samples.add( { { "action", "shut" } }, all - opened );
   samples.add( { { "action", "open" } }, opened );
}

void
addReactions( Samples& samples, View const& view ) {
   Samples::Label const action{ "action", "shut" };
   unsigned int count = 0;
   for ( std::string_view const limit : State::reactionLimits ) {
      count += view.agent->reactions( limit );
      samples.add( { action, { "le", limit == "inf" ? "+Inf" : limit } }, count, "_bucket" );
   }
   samples.add( { action }, view.agent->reactionSeconds(), "_sum" );
   samples.add( { action }, count, "_count" );
}

void
addLogLines( Samples& samples, View const& view ) {
   for ( std::string_view const priority : { "err", "warning", "notice", "info" } )
      samples.add( { { "priority", priority } }, view.agent->logLines( priority ) );
}

// A family of metrics.
struct MetricFamily {
   std::string_view name;
   std::string_view type;
   std::string_view help;
   // Null for the family that is known even without ufdd.
   void ( *addSamples )( Samples& samples, View const& view );
};

constexpr MetricFamily isThere{ "ufdd_up", "gauge", "1 if ufdd serves its status, else 0.",
                                nullptr };

constexpr std::array families{
   isThere,
   MetricFamily{ "ufdd_build_info", "gauge", "The ufdd that runs; always 1.",
                 []( Samples& samples, View const& view ) {
                    samples.add( { { "version", view.agent->version().view() },
                                   { "revision", view.agent->revision().view() } },
                                 1 );
                 } },
   MetricFamily{ "ufdd_start_time_seconds", "gauge", "When ufdd was started, in Unix time.",
                 ofAgent< &State::startWall > },
   MetricFamily{ "ufdd_config_last_reload_successful", "gauge",
                 "1 if what was last read of the configuration file is in force; 0 if it was "
                 "refused, and the former configuration stays in force.",
                 []( Samples& samples, View const& view ) {
                    samples.add( {}, view.agent->refusalTime() == 0 );
                 } },
   MetricFamily{ "ufdd_config_last_reload_success_timestamp_seconds", "gauge",
                 "When the configuration that is in force was read, in Unix time.",
                 ofAgent< &State::configWall > },
   MetricFamily{ "ufdd_config_hash", "gauge",
                 "Checksum of the configuration file that is in force, as the command cksum "
                 "prints it.",
                 ofAgent< &State::configSum > },
   MetricFamily{ "ufdd_group_state", "gauge",
                 "1 for the state that the uplinks of the group make it have, before its delays.",
                 []( Samples& samples, View const& view ) {
                    choicesOfGroups< &GroupStatus::groupLinkStatus >( samples, view, "state" );
                 } },
   MetricFamily{ "ufdd_group_uplinks", "gauge", "Number of uplinks of the group.",
                 ofGroups< &GroupState::allLinks > },
   MetricFamily{ "ufdd_group_uplinks_up", "gauge", "Number of uplinks of the group that are up.",
                 ofGroups< &GroupState::upLinks > },
   MetricFamily{ "ufdd_group_min_links", "gauge",
                 "Number of uplinks that must be up for the group to stay up.",
                 ofGroups< &GroupState::minLinks > },
   MetricFamily{ "ufdd_group_dry_run", "gauge",
                 "1 if the configuration has the group only log what it would do.",
                 ofGroups< &GroupState::isDryRun > },
   MetricFamily{ "ufdd_group_mode", "gauge",
                 "1 for what the group does about its ports: \"acting\" shuts them while it is "
                 "down.",
                 []( Samples& samples, View const& view ) {
                    choicesOfGroups< &GroupState::mode >( samples, view, "mode" );
                 } },
   MetricFamily{ "ufdd_group_downs_total", "counter",
                 "How often the group went down since ufdd was started.",
                 ofGroups< &GroupStatus::numTimesDisabled > },
   MetricFamily{ "ufdd_group_last_down_timestamp_seconds", "gauge",
                 "When the group last went down, in Unix time; 0 if it never did.",
                 ofGroups< &GroupState::downWall > },
   MetricFamily{ "ufdd_group_waiting", "gauge",
                 "1 for what the group waits for before its ports are shut or opened.",
                 []( Samples& samples, View const& view ) {
                    choicesOfGroups< &GroupState::wait >( samples, view, "for", 1 );
                 } },
   MetricFamily{ "ufdd_group_member_info", "gauge",
                 "The interfaces of each group, and what they are to it; always 1.", addMembers },
   MetricFamily{ "ufdd_uplink_up", "gauge", "1 if the uplink counts as up.", addUplinks },
   MetricFamily{ "ufdd_check_state", "gauge",
                 "1 for what the last results make of the check of uplinks.", addChecks },
   MetricFamily{ "ufdd_port_wanted_shut", "gauge",
                 "1 if ufdd is to hold the port shut, after delays. 0 as well for a port that "
                 "ufdd leaves alone: one that is protected, absent, shut by others, or carries "
                 "the default route, or if only groups in dry run are down.",
                 ofPorts< isToBeShut > },
   MetricFamily{ "ufdd_port_held", "gauge", "1 if ufdd holds the port shut.", ofPorts< isOurs > },
   MetricFamily{ "ufdd_port_overridden", "gauge",
                 "1 if the port is left open although it should be shut, because an operator "
                 "cleared it, or somebody opened it again and again.",
                 ofPorts< isOverridden > },
   MetricFamily{ "ufdd_port_actions_total", "counter",
                 "Number of interfaces that were shut or opened. Each member of a LAG counts.",
                 []( Samples& samples, View const& view ) {
                    addActions( samples, view.agent->acts(), view.agent->openActs() );
                 } },
   MetricFamily{ "ufdd_port_action_failures_total", "counter",
                 "Number of interfaces that could not be shut or opened. A failure that lasts "
                 "counts once.",
                 []( Samples& samples, View const& view ) {
                    addActions( samples, view.agent->failedActs(), view.agent->failedOpenActs() );
                 } },
   MetricFamily{ "ufdd_reaction_seconds", "histogram",
                 "Time from when ufdd learned of an uplink's failure until the ports were seen "
                 "shut. Time in which the kernel delays a message is not in it. Reactions with "
                 "a down_delay are not counted.",
                 addReactions },
   MetricFamily{ "ufdd_gate_saves_total", "counter",
                 "Carrier changes of uplinks that were found by asking the driver before the "
                 "kernel told of them.",
                 ofAgent< &State::foundByAsking > },
   MetricFamily{ "ufdd_link_resyncs_total", "counter",
                 "How often all links were read again, because messages about them were lost or "
                 "could not be read.",
                 ofAgent< &State::overruns > },
   MetricFamily{ "ufdd_ownership_saved", "gauge",
                 "1 if the record of the ports that ufdd has shut is written; 0 if the next ufdd "
                 "would not know all of them after a crash.",
                 ofAgent< &State::isRecorded > },
   MetricFamily{ "ufdd_log_lines_total", "counter", "Number of lines of the log, by priority.",
                 addLogLines },
   MetricFamily{ "ufdd_log_lines_dropped_total", "counter",
                 "Number of lines that were dropped, because nobody read the log in time.",
                 ofAgent< &State::droppedLogLines > },
   MetricFamily{ "ufdd_status_clients", "gauge",
                 "Number of programs that are connected to the socket of the status.",
                 ofAgent< &State::statusClients > },
};

} // namespace

std::string
metricsText( StatusRoots const& roots ) {
   View view( roots, Moment::now() );
   view.orderByName();
   Samples samples;
   for ( MetricFamily const& family : families ) {
      samples.begin( family.name, family.type, family.help );
      if ( family.addSamples )
         family.addSamples( samples, view );
      else
         samples.add( {}, 1 );
   }
   return samples.text();
}

std::string
metricsTextWithoutUfdd() {
   Samples samples;
   samples.begin( isThere.name, isThere.type, isThere.help );
   samples.add( {}, 0 );
   return samples.text();
}

} // namespace Ufdd
