#pragma once

#include <string_view>

namespace Zet {

// A type in the attribute log: its full name, "UplinkFailureDetection::Config".
// Borrows: the text.
class TypeId {
 public:
   explicit TypeId( std::string_view fullName ) noexcept : fullName_( fullName ) {}
   std::string_view fullName() const noexcept { return fullName_; }
   bool operator==( TypeId const& ) const = default;

 private:
   std::string_view fullName_;
};

} // namespace Zet
