#pragma once

#include "agent/config/Findings.h"

#include <toml++/toml.h>

#include <string_view>

namespace Ufdd {

// Reads the names of a collection. The same name twice is an error.
class NameReader {
 public:
   enum class Kind { interfaces, texts };

   // Borrows: findings; and places, to which it adds the names.
   NameReader( Kind kind, Findings& findings, NamePlaces& places )
       : kind_( kind ), findings_( findings ), places_( places ) {}

   // Reads a list, the value of `key`. Reports errors and goes on.
   void readList( toml::node const& node, std::string_view key );
   // Returns `is`. Reports an error if it is false. `form` is what to write after the key.
   bool isCollection( toml::node const& node, bool is, std::string_view key,
                      std::string_view form );
   // Adds the name. Returns false, with an error, if it can't be used or is there already.
   bool addNew( std::string_view name, toml::node const& at );

   // The two forms of a list, for findings.
   static constexpr std::string_view listForm = R"([ "...", ... ])";
   static constexpr std::string_view tableForm = R"({ "..." = ..., ... })";

 private:
   Kind const kind_;
   Findings& findings_;
   NamePlaces& places_;
};

} // namespace Ufdd
