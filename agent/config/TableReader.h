#pragma once

#include "agent/config/Findings.h"
#include "platform/zet/generic/GenericIf.h"
#include "platform/zet/types/ZetAttr.h"

#include <toml++/toml.h>

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

Place placeOf( toml::node const& node );
// "a text", "a list", to follow "not"
std::string_view typeOf( toml::node const& node );

// Reads tables of a file into objects of one type, of which it knows what the descriptor tells:
// a table's keys are the names of attributes that are configuration, spelled min_links for
// minLinks. A collection of flags is written as the list of its keys, any other as a table.
class TableReader {
 public:
   // Another spelling for an attribute, one that every table must have.
   struct ShortName {
      std::string_view key;
      std::string_view attribute;
   };
   // Where the keys of a collection stand, by attribute.
   using Places = std::map< Zet::AttributeId, std::map< std::string, Place, std::less<> > >;

   // Borrows: shortNames, findings.
   TableReader( Zet::ZetType const& type, std::span< ShortName const > shortNames,
                Findings& findings );

   // The spelling that it knows an attribute by, of each in order.
   std::vector< std::string > keys() const;
   // Whether it reads that key of a table.
   bool reads( std::string_view key ) const;
   // Sets what the table says, and goes on after what is wrong with it. `thing` is how the errors
   // call what the table tells of: "this group".
   Places read( toml::table const& table, Zet::GenericIf& object, std::string_view thing );

 private:
   struct Attribute {
      Zet::Ptr< Zet::ZetAttr > descriptor;
      std::string key;      // The long spelling,
      std::string shortKey; // and the short one, if there is one.
      std::string const& shown() const { return shortKey.empty() ? key : shortKey; }
   };

   // Null, with an error, when it must be there and isn't.
   toml::node const* find( toml::table const& table, Attribute const& attribute,
                           std::string_view thing );
   void readMembers( toml::node const& node, Attribute const& attribute, Zet::GenericIf& object,
                     Places::mapped_type& places );
   void readMember( std::string_view key, toml::node const& at, toml::node const* value,
                    Attribute const& attribute, Zet::GenericIf& object,
                    Places::mapped_type& places );
   // Sets a value; what the object thinks of it becomes an error at `node`.
   void set( toml::node const& node, Attribute const& attribute, Zet::GenericIf& object,
             Zet::Ptr< Zet::GenericIf > const& key, Zet::Ptr< Zet::GenericIf > const& value );

   std::vector< Attribute > attributes_;
   Findings& findings_;
};

} // namespace Ufdd
