#pragma once

#include "agent/base/Printable.h"
#include "agent/config/NameReader.h"
#include "agent/config/TomlValue.h"
#include "agent/reflected/Configuration.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/AttributeId.h"

#include <toml++/toml.h>

#include <algorithm>
#include <concepts>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// A shorter key for an attribute. Every table must have such an attribute, by either key.
struct ShortName {
   std::string_view key;
   std::string_view attribute;
};

// "min_links" for "minLinks"
std::string keyOf( std::string_view attribute );

// Reads tables of a file into objects of type T, by T's attribute rows. The keys of a table are the
// names of the attributes that are configuration, spelled min_links for minLinks. A collection of
// flags is written as the list of its keys, any other collection as a table.
template < class T > class TableReader {
 public:
   // The place of each key of a collection, by attribute.
   using Places = std::map< Zet::AttributeId, NamePlaces >;

   // Borrows: shortNames, findings.
   TableReader( std::span< ShortName const > shortNames, Findings& findings )
       : shortNames_( shortNames ), findings_( findings ) {}

   // Returns the key of each attribute, in order: the short one if there is one.
   std::vector< std::string > keys() const {
      std::vector< std::string > keys;
      forEachConfigured< T >(
          [ & ]( auto const& row ) { keys.push_back( shownKey( row.name ) ); } );
      return keys;
   }

   // Returns true if read() knows that key.
   bool reads( std::string_view key ) const {
      bool isRead = false;
      forEachConfigured< T >( [ & ]( auto const& row ) {
         isRead |= key == keyOf( row.name ) || key == shownKey( row.name );
      } );
      return isRead;
   }

   // Sets the attributes of `object` that the table has. Reports errors and goes on. `thing` is the
   // errors' word for what the table describes: "this group".
   Places read( toml::table const& table, T& object, std::string_view thing ) {
      Places places;
      forEachConfigured< T >( [ & ]< class R >( R const& row ) {
         toml::node const* const node = find( table, row.name, thing, memberForm< R >() );
         if ( !node )
            return;
         if constexpr ( ConfiguredCollection< R > )
            readMembers( *node, row, object, places[ row.id ] );
         else if ( auto const value = readValue< ValueOf< R > >( *node, row ) )
            ( object.*R::set )( *value );
      } );
      return places;
   }

 private:
   template < class R > static constexpr bool isList = std::same_as< ValueOf< R >, bool >;
   template < class R >
   static constexpr bool isOfInterfaces = std::same_as< KeyOf< R >, Kelnet::IntfId >;

   std::string shownKey( std::string_view attribute ) const {
      auto const at = std::find_if( shortNames_.begin(), shortNames_.end(),
                                    [ & ]( auto const& s ) { return s.attribute == attribute; } );
      return at == shortNames_.end() ? keyOf( attribute ) : std::string( at->key );
   }

   // Returns what to write after the key and "=": `[ "...", ... ]`
   template < class R > static constexpr std::string_view memberForm() {
      if constexpr ( !ConfiguredCollection< R > )
         return "...";
      else
         return isList< R > ? NameReader::listForm : NameReader::tableForm;
   }

   // Returns null if the table does not have the attribute. Reports an error if it must have it.
   toml::node const* find( toml::table const& table, std::string_view attribute,
                           std::string_view thing, std::string_view form ) {
      std::string const key = keyOf( attribute );
      std::string const shown = shownKey( attribute );
      toml::node const* const node = table.get( shown );
      toml::node const* const other = table.get( key );
      if ( node && other && node != other )
         findings_.error( placeOf( *other ),
                          inQuotes( key ) + " means the same as " + inQuotes( shown ) +
                              ", which is here as well; write only one of them" );
      if ( !node && !other && key != shown )
         findings_.error( placeOf( table ),
                          std::string( thing ) + " has no list of interfaces to " + shown +
                              "; expected " + shown + " = " + std::string( form ) );
      return node ? node : other;
   }

   template < class V, class R >
   std::optional< V > readValue( toml::node const& node, R const& row ) {
      auto const value = TomlValue< V >::read( node );
      if ( !value )
         findings_.error( placeOf( node ),
                          mismatch( shownKey( row.name ), TomlValue< V >::expectation(), node ) );
      return value;
   }

   template < class R >
   void readMembers( toml::node const& node, R const& row, T& object, NamePlaces& places ) {
      NameReader names( isOfInterfaces< R > ? NameReader::Kind::interfaces
                                            : NameReader::Kind::texts,
                        findings_, places );
      if constexpr ( isList< R > ) {
         names.readList( node, shownKey( row.name ) );
         for ( auto const& [ name, place ] : places )
            ( object.*R::set )( KeyOf< R >( name ), true );
      } else if ( names.isCollection( node, node.is_table(), shownKey( row.name ),
                                      memberForm< R >() ) )
         for ( auto&& [ key, value ] : *node.as_table() )
            if ( names.addNew( key.str(), value ) )
               if ( auto const read = readValue< ValueOf< R > >( value, row ) )
                  ( object.*R::set )( KeyOf< R >( key.str() ), *read );
   }

   std::span< ShortName const > shortNames_;
   Findings& findings_;
};

} // namespace Ufdd
