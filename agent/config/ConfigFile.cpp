#include "agent/config/ConfigFile.h"

#include "adapters/notify/Description.h"
#include "agent/base/NearestWord.h"
#include "agent/base/Printable.h"
#include "agent/config/Checksum.h"
#include "agent/config/ConfigChecks.h"
#include "agent/config/RegularFile.h"
#include "agent/config/TableReader.h"
#include "agent/config/TomlPrecheck.h"
#include "platform/zet/attrlog/Format.h"

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

 private:
   void readFile( toml::table const& file );
   void readDetection( toml::table const& file );
   // These read one option. The variable keeps its value if the table does not have the key.
   template < class V, class Read >
   void read( toml::table const& table, std::string_view key, std::string const& expectation,
              V& option, Read valueIn );
   void readNumber( toml::table const& file, std::string_view key, std::string_view unit,
                    std::uint32_t min, std::uint32_t max, std::uint32_t& number );
   void readSeconds( toml::table const& table, std::string_view key, double& seconds );
   void readFlag( toml::table const& table, std::string_view key, bool& flag );
   // Reads how many uplinks a group needs that has those in `monitor`.
   void readThresholds( toml::table const& table, GroupSettings& group );
   void readReleaseWhen( toml::table const& table, GroupPolicy& policy );
   void readGroup( toml::table const& table );
   // Returns an empty name, with an error, if the group has no name or one that can't be used.
   std::string readName( toml::table const& table );
   // Reports each key that is not among `shown` and for which alright( key ) returns false. `where`
   // names the table in the error; `shown` are the keys that the error may suggest.
   template < class Alright >
   void checkKeys( toml::table const& table, std::vector< std::string > const& shown,
                   std::string_view where, Alright alright );

   Findings& findings_;
   bool isDryRun_ = false; // Set for all groups of the file.
   TableReader< GroupConfig > attributes_{ shortNames, findings_ };
   std::map< std::string, Place, std::less<> > groupPlaces_;
   std::set< Prefix > awaited_; // All prefixes that groups wait for.
};

template < class Alright >
void
Reader::checkKeys( toml::table const& table, std::vector< std::string > const& shown,
                   std::string_view where, Alright alright ) {
   std::vector< std::string_view > const known( shown.begin(), shown.end() );
   for ( auto&& [ key, value ] : table ) {
      if ( alright( key.str() ) ||
           std::find( known.begin(), known.end(), key.str() ) != known.end() )
         continue;
      std::string text = "unknown key " + quoted( key.str() ) + " in " + std::string( where );
      if ( auto const nearest = nearestWord( key.str(), known ) ) {
         text += "; did you mean " + quoted( *nearest ) + "?";
      } else {
         text += "; expected ";
         for ( std::size_t i = 0; i < known.size(); ++i )
            text += ( i ? ", " : "" ) + std::string( known[ i ] );
      }
      findings_.error( { key.source().begin.line, key.source().begin.column }, std::move( text ) );
   }
}

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
   checkKeys( file,
              { "group", "detection", "detection_interval", "detection_idle_interval",
                "protodown_reason", "startup_hold", "dry_run", "protect" },
              "the file", []( std::string_view ) { return false; } );
   readDetection( file );
   readNumber( file, "protodown_reason", "", 0, Link::maxReason, protoDownReason );
   readSeconds( file, "startup_hold", startupHold );
   readFlag( file, "dry_run", isDryRun_ );
   if ( toml::node const* const names = file.get( "protect" ) )
      NameReader( NameReader::Kind::interfaces, findings_, protect ).readList( *names, "protect" );
   toml::node const* const list = file.get( "group" );
   if ( !list )
      return;
   if ( !list->is_array_of_tables() && !( list->is_array() && list->as_array()->empty() ) )
      return findings_.error( placeOf( *list ), "expected groups that begin with [[group]], not " +
                                                    std::string( typeOf( *list ) ) );
   for ( toml::node const& group : *list->as_array() )
      readGroup( *group.as_table() );
}

void
Reader::readDetection( toml::table const& file ) {
   using Mode = DetectionSettings::Mode;
   constexpr auto const& modes = DetectionSettings::modes;
   read( file, "detection", R"("auto", "verify", "poll" or "events")", detection.mode,
         []( toml::node const& node ) -> std::optional< Mode > {
            auto const mode = std::find_if( modes.begin(), modes.end(), [ & ]( auto const& m ) {
               return m.first == node.value< std::string_view >();
            } );
            return mode == modes.end() ? std::nullopt : std::optional( mode->second );
         } );
   auto const readInterval = [ & ]( std::string_view key, std::uint32_t& milliseconds ) {
      readNumber( file, key, " of milliseconds", 1, DetectionSettings::maxIntervalMs,
                  milliseconds );
   };
   readInterval( "detection_interval", detection.intervalMs );
   readInterval( "detection_idle_interval", detection.idleIntervalMs );
}

template < class V, class Read >
void
Reader::read( toml::table const& table, std::string_view key, std::string const& expectation,
              V& option, Read valueIn ) {
   toml::node const* const node = table.get( key );
   if ( !node )
      return;
   if ( std::optional< V > const value = valueIn( *node ) )
      option = *value;
   else
      findings_.error( placeOf( *node ), "expected " + std::string( key ) + " to be " +
                                             expectation + ", not " + found( *node ) );
}

void
Reader::readNumber( toml::table const& file, std::string_view key, std::string_view unit,
                    std::uint32_t min, std::uint32_t max, std::uint32_t& number ) {
   read( file, key,
         "a whole number" + std::string( unit ) + " from " + std::to_string( min ) + " to " +
             std::to_string( max ),
         number,
         [ = ]( auto const& node ) { return TomlValue< unsigned int >::read( node, min, max ); } );
}

void
Reader::readSeconds( toml::table const& table, std::string_view key, double& seconds ) {
   read( table, key, "a number of seconds from 0 to 86400", seconds, []( auto const& node ) {
      auto const value = TomlValue< double >::read( node );
      return value && *value >= 0 && *value <= 86400 ? value : std::nullopt;
   } );
}

void
Reader::readFlag( toml::table const& table, std::string_view key, bool& flag ) {
   read( table, key, TomlValue< bool >::expectation(), flag, TomlValue< bool >::read );
}

void
Reader::readThresholds( toml::table const& table, GroupSettings& group ) {
   std::size_t const monitored = group.monitorPlaces.size();
   auto const read = [ & ]( std::string_view links, std::string_view percent ) {
      std::uint32_t number = 0;
      // The library's attributes are read already.
      if ( !attributes_.reads( links ) )
         readNumber( table, links, "", 1, std::numeric_limits< std::uint32_t >::max(), number );
      std::uint32_t share = 0;
      readNumber( table, percent, "", 1, 100, share );
      if ( share != 0 && table.contains( links ) )
         findings_.error( placeOf( *table.get( percent ) ),
                          quoted( percent ) + " is given in place of " + quoted( links ) +
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
         findings_.error( place, quoted( text ) +
                                     " is no route to wait for; expected \"default-route\" or a "
                                     "prefix such as \"10.0.0.0/8\" or \"::/0\"" );
      else if ( to && to->masked() != *to )
         findings_.error( place, quoted( text ) + " has bits set after its length; did you mean " +
                                     quoted( to->masked().text() ) + "?" );
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
   std::vector< std::string > keys = attributes_.keys();
   keys.insert( keys.begin(), "name" );
   keys.insert( keys.end(),
                { "min_percent", "recover_links", "recover_percent", "recovery_delay",
                  "recovery_delay_max", "down_delay", "dry_run", "enabled", "force_down",
                  "auto_recover", "allow_default_route", "release_when", "release_timeout" } );
   checkKeys( table, keys, "a group",
              [ this ]( std::string_view key ) { return attributes_.reads( key ); } );
   GroupSettings group( readName( table ) );
   group.place = placeOf( table );
   readSeconds( table, "recovery_delay", group.policy.recoveryDelay );
   readSeconds( table, "recovery_delay_max", group.policy.recoveryDelayMax );
   readSeconds( table, "down_delay", group.policy.downDelay );
   readFlag( table, "dry_run", group.policy.dryRun );
   group.policy.dryRun |= isDryRun_;
   readFlag( table, "enabled", group.policy.enabled );
   readFlag( table, "force_down", group.policy.forceDown );
   readFlag( table, "auto_recover", group.policy.autoRecover );
   readFlag( table, "allow_default_route", group.policy.allowDefaultRoute );
   readReleaseWhen( table, group.policy );
   readSeconds( table, "release_timeout", group.policy.releaseTimeout );
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

std::string
Reader::readName( toml::table const& table ) {
   auto const fail = [ this ]( toml::node const& node, std::string text ) {
      findings_.error( placeOf( node ), std::move( text ) );
      return std::string();
   };
   toml::node const* const node = table.get( "name" );
   if ( !node )
      return fail( table, "this group has no name; expected name = \"...\"" );
   if ( !node->is_string() )
      return fail( *node, "expected the name of the group as a text in quotes, not " +
                              std::string( typeOf( *node ) ) );
   std::string const name = **node->as_string();
   if ( name.empty() )
      return fail( *node, "the name of a group can't be empty" );
   if ( name.size() > Zet::NboAttrLog::stringLimit )
      return fail( *node, "the name of a group has at most " +
                              std::to_string( Zet::NboAttrLog::stringLimit ) + " bytes, not " +
                              std::to_string( name.size() ) );
   if ( printable( name ) != name )
      return fail( *node, "the name of a group can't have control characters in it" );
   auto const [ first, isNew ] = groupPlaces_.try_emplace( name, placeOf( *node ) );
   if ( !isNew )
      return fail( *node, "there is a group " + quoted( name ) + " on line " +
                              std::to_string( first->second.line ) +
                              " already; each group needs a name of its own" );
   return name;
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
   if ( system )
      noteAbsent( *system, reader.groups, findings );
   ConfigFile config;
   config.groups = std::move( reader.groups );
   config.detection = reader.detection;
   config.protoDownReason = reader.protoDownReason;
   config.startupHold = reader.startupHold;
   for ( auto const& [ name, place ] : reader.protect )
      config.protect.push_back( name );
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
