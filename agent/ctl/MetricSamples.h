#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace Ufdd {

// Writes families of metrics in Prometheus' text format 0.0.4, which each of its readers knows.
class MetricSamples {
 public:
   struct Label {
      std::string_view name;
      std::string_view value;
   };
   using Labels = std::initializer_list< Label >;

   // Begins a family. The samples that follow belong to it. A family without samples is left out.
   // Borrows: name, until the next family begins.
   void begin( std::string_view name, std::string_view type, std::string_view help );
   // Adds a sample of the family; `suffix` follows its name, as in "_bucket".
   void add( Labels labels, double value, std::string_view suffix = {} );

   std::string const& text() const { return text_; }

 private:
   std::string_view family_;
   std::string head_; // Of the family, until its first sample.
   std::string text_;
};

} // namespace Ufdd
