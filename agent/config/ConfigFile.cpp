#include "agent/config/ConfigFile.h"

#include "adapters/notify/Description.h"
#include "agent/config/CheckReader.h"
#include "agent/config/Checksum.h"
#include "agent/config/ConfigChecks.h"
#include "agent/config/NameReader.h"
#include "agent/config/OptionReader.h"
#include "agent/config/RegularFile.h"
#include "agent/config/TableReader.h"
#include "agent/config/TomlPrecheck.h"

#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>

namespace Ufdd {

namespace {

using UplinkFailureDetection::GroupConfig;

// Of a file: a hundred thousand lines can't be meant.
constexpr std::size_t maxBytes = 1 << 20;
// Of all groups: the kernel compares each route with each of these prefixes.
constexpr std::size_t maxAwaited = 100;

constexpr std::array shortNames{
   ShortName{ "monitor", "intfsToMonitor" },
   ShortName{ "disable", "intfsToDisable" },
};

// Reads the tables of one file. Goes on after an error, to find all of them.
class Reader {
 public:
   explicit Reader( Findings& findings ) : findings_( findings ) {}

   // Parses a text that is not too deep, then reads it.
   void readText( std::string_view text, std::string_view file );

   std::vector< GroupSettings > groups;
   DetectionSettings detection;
   std::uint32_t protoDownReason = ConfigFile().protoDownReason;
   double startupHold = ConfigFile().startupHold;
   NamePlaces protect;
   std::vector< CheckSettings > checks;
   double massFailureDelay = ConfigFile().massFailureDelay;

 private:
   void readFile( toml::table const& file );
   void readDetection( toml::table const& file );
   // Reads how many uplinks a group needs that has those in `monitor`.
   void readThresholds( toml::table const& table, GroupSettings& group );
   void readReleaseWhen( toml::table const& table, GroupPolicy& policy );
   void readGroup( toml::table const& table );
   // Calls read( table ) for each table of the list [[NAME]].
   template < class Read >
   void readTables( toml::table const& file, std::string const& name, Read read );

   Findings& findings_;
   OptionReader options_{ findings_ };
   CheckReader checks_{ findings_ };
   bool isDryRun_ = false; // Set for all groups of the file.
   TableReader< GroupConfig > attributes_{ shortNames, findings_ };
   std::map< std::string, Place, std::less<> > groupPlaces_;
   std::set< Prefix > awaited_; // All prefixes that groups wait for.
};

void
Reader::readText( std::string_view text, std::string_view file ) {
   try {
      readFile( toml::parse( text, file ) );
   } catch ( toml::parse_error const& error ) {
      findings_.error( { error.source().begin.line, error.source().begin.column },
                       std::string( error.description() ) );
   }
}

void
Reader::readFile( toml::table const& file ) {
   options_.checkKeys( file,
                       { "group", "detection", "detection_interval", "detection_idle_interval",
                         "protodown_reason", "startup_hold", "dry_run", "protect", "check",
                         "mass_failure_delay" },
                       "the file", []( std::string_view ) { return false; } );
   readDetection( file );
   options_.readNumber( file, "protodown_reason", "", 0, Link::maxReason, protoDownReason );
   options_.readSeconds( file, "startup_hold", startupHold );
   options_.readFlag( file, "dry_run", isDryRun_ );
   if ( toml::node const* const names = file.get( "protect" ) )
      NameReader( NameReader::Kind::interfaces, findings_, protect ).readList( *names, "protect" );
   options_.readSeconds( file, "mass_failure_delay", massFailureDelay );
   readTables( file, "group", [ this ]( toml::table const& group ) { readGroup( group ); } );
   readTables( file, "check", [ this ]( toml::table const& check ) {
      checks.push_back( checks_.read( check ) );
   } );
}

template < class Read >
void
Reader::readTables( toml::table const& file, std::string const& name, Read read ) {
   toml::node const* const list = file.get( name );
   if ( !list )
      return;
   if ( !list->is_array_of_tables() && !( list->is_array() && list->as_array()->empty() ) )
      return findings_.error( placeOf( *list ), "expected " + name + "s that begin with [[" + name +
                                                    "]], not " + std::string( typeOf( *list ) ) );
   for ( toml::node const& table : *list->as_array() )
      read( *table.as_table() );
}

void
Reader::readDetection( toml::table const& file ) {
   options_.readWord( file, "detection", DetectionSettings::modes, detection.mode );
   auto const readInterval = [ & ]( std::string_view key, std::uint32_t& milliseconds ) {
      options_.readNumber( file, key, " of milliseconds", 1, DetectionSettings::maxIntervalMs,
                           milliseconds );
   };
   readInterval( "detection_interval", detection.intervalMs );
   readInterval( "detection_idle_interval", detection.idleIntervalMs );
}

void
Reader::readThresholds( toml::table const& table, GroupSettings& group ) {
   std::size_t const monitored = group.monitorPlaces.size();
   auto const read = [ & ]( std::string_view links, std::string_view percent ) {
      std::uint32_t number = 0;
      // The library's attributes are read already.
      if ( !attributes_.reads( links ) )
         options_.readNumber( table, links, "", 1, std::numeric_limits< std::uint32_t >::max(),
                              number );
      std::uint32_t share = 0;
      options_.readNumber( table, percent, "", 1, 100, share );
      if ( share != 0 && table.contains( links ) )
         findings_.error( placeOf( *table.get( percent ) ),
                          inQuotes( percent ) + " is given in place of " + inQuotes( links ) +
                              ", which is here as well; write only one of them" );
      return share == 0 ? number : static_cast< std::uint32_t >( ( share * monitored + 99 ) / 100 );
   };
   if ( std::uint32_t const links = read( "min_links", "min_percent" ); links != 0 )
      group.config->minLinksIs( links );
   group.policy.recoverLinks = read( "recover_links", "recover_percent" );
}

void
Reader::readReleaseWhen( toml::table const& table, GroupPolicy& policy ) {
   toml::node const* const node = table.get( "release_when" );
   if ( !node )
      return;
   NamePlaces texts;
   NameReader( NameReader::Kind::texts, findings_, texts ).readList( *node, "release_when" );
   for ( auto const& [ text, place ] : texts ) {
      std::optional< Prefix > const to = Prefix::read( text );
      if ( to )
         awaited_.insert( *to );
      if ( !to && text != RouteCondition::defaultRoute )
         findings_.error( place, inQuotes( text ) +
                                     " is no route to wait for; expected \"default-route\" or a "
                                     "prefix such as \"10.0.0.0/8\" or \"::/0\"" );
      else if ( to && to->masked() != *to )
         findings_.error( place, inQuotes( text ) +
                                     " has bits set after its length; did you mean " +
                                     inQuotes( to->masked().text() ) + "?" );
      else if ( awaited_.size() > maxAwaited )
         findings_.error( place, "groups can wait for routes to at most " +
                                     std::to_string( maxAwaited ) + " prefixes in all" );
      else
         policy.releaseWhen.push_back( { to } );
   }
}

void
Reader::readGroup( toml::table const& table ) {
   std::size_t const errorsBefore = findings_.errorCount();
   std::vector< std::string > known = attributes_.keys();
   known.insert( known.begin(), "name" );
   known.insert( known.end(),
                 { "min_percent", "recover_links", "recover_percent", "recovery_delay",
                   "recovery_delay_max", "down_delay", "dry_run", "enabled", "force_down",
                   "auto_recover", "allow_default_route", "release_when", "release_timeout" } );
   options_.checkKeys( table, known, "a group",
                       [ this ]( std::string_view key ) { return attributes_.reads( key ); } );
   GroupSettings group( options_.readName( table, "group", groupPlaces_ ) );
   group.place = placeOf( table );
   options_.readSeconds( table, "recovery_delay", group.policy.recoveryDelay );
   options_.readSeconds( table, "recovery_delay_max", group.policy.recoveryDelayMax );
   options_.readSeconds( table, "down_delay", group.policy.downDelay );
   options_.readFlag( table, "dry_run", group.policy.dryRun );
   group.policy.dryRun |= isDryRun_;
   options_.readFlag( table, "enabled", group.policy.enabled );
   options_.readFlag( table, "force_down", group.policy.forceDown );
   options_.readFlag( table, "auto_recover", group.policy.autoRecover );
   options_.readFlag( table, "allow_default_route", group.policy.allowDefaultRoute );
   readReleaseWhen( table, group.policy );
   options_.readSeconds( table, "release_timeout", group.policy.releaseTimeout );
   auto places = attributes_.read( table, *group.config, "this group" );
   group.monitorPlaces = places[ Notify::rowOf< GroupConfig, &GroupConfig::intfsToMonitor >().id ];
   group.disablePlaces = places[ Notify::rowOf< GroupConfig, &GroupConfig::intfsToDisable >().id ];
   readThresholds( table, group );
   // After an error, lists may lack names.
   if ( findings_.errorCount() == errorsBefore )
      checkCounts( group, findings_ );
   checkSwitches( group, findings_ );
   groups.push_back( std::move( group ) );
}

} // namespace

ConfigFile
parseConfig( std::string_view text, std::string_view file, SystemView const* system ) {
   Findings findings( file );
   Reader reader( findings );
   if ( auto objection = objectionToToml( text ) )
      findings.error( objection->place, std::move( objection->text ) );
   else
      reader.readText( text, file );
   if ( reader.groups.empty() && findings.errorCount() == 0 )
      findings.warning( { 1, 1 }, "there is no [[group]]: ufdd watches nothing" );
   checkGroups( system ? *system : SystemView(), reader.groups, findings );
   checkProtected( system ? *system : SystemView(), reader.protect, reader.groups, findings );
   checkUplinksOfChecks( reader.groups, reader.checks, findings );
   if ( system )
      noteAbsent( *system, reader.groups, findings );
   ConfigFile config;
   config.groups = std::move( reader.groups );
   config.detection = reader.detection;
   config.protoDownReason = reader.protoDownReason;
   config.startupHold = reader.startupHold;
   for ( auto const& [ name, place ] : reader.protect )
      config.protect.push_back( name );
   config.checks = std::move( reader.checks );
   config.massFailureDelay = reader.massFailureDelay;
   config.errors = findings.errors();
   config.warnings = findings.warnings();
   config.hasWarnings = findings.hasWarnings();
   config.checksum = checksumOf( text );
   config.text = text;
   return config;
}

ConfigFile
readConfig( std::string const& file, SystemView const* system ) {
   std::string text;
   try {
      text = readRegularFile( file, maxBytes );
   } catch ( std::runtime_error const& error ) {
      ConfigFile result;
      result.errors = { file + ": can't be read: " + error.what() };
      return result;
   }
   return parseConfig( text, file, system );
}

ConfigFile
readConfigOfThisMachine( std::string const& file ) {
   try {
      SystemView const system = readSystem();
      return readConfig( file, &system );
   } catch ( std::system_error const& error ) {
      ConfigFile config = readConfig( file );
      config.warnings.push_back( file +
                                 ": warning: not checked against this machine: " + error.what() );
      config.hasWarnings = true;
      return config;
   }
}

} // namespace Ufdd
