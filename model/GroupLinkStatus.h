#pragma once

#include "adapters/notify/Description.h"
#include "platform/zet/Export.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/String8.h"
#include "platform/zet/ZetType.h"
#include "platform/zet/generic/TypeOf.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string_view>

namespace UplinkFailureDetection {

// What a group's uplinks are worth together. A record that came from elsewhere may carry another
// number; its text is then "GroupLinkStatus(7)".
enum class GroupLinkStatus : std::uint32_t {
   unknown = 0, // Nothing has been decided yet.
   up = 1,      // At least minLinks are up: the downstream interfaces are enabled.
   down = 2,    // Fewer are up: the downstream interfaces are error-disabled.
};

// "unknown", "up" or "down".
ZET_EXPORT Zet::String8 stringValue( GroupLinkStatus status );
ZET_EXPORT std::ostream& operator<<( std::ostream& stream, GroupLinkStatus const& status );
// The same in single quotes.
ZET_EXPORT Zet::String8 valueToStrep( GroupLinkStatus const& status );

// The status of that text, or of that number.
// Throws: Zet::RangeException "GroupLinkStatus" for anything else.
ZET_EXPORT GroupLinkStatus GroupLinkStatusInstance( Zet::String8 text );
ZET_EXPORT GroupLinkStatus GroupLinkStatusInstance( unsigned int number );

// Reads a status, quoted or bare, and moves `at` behind it. Zet::strepToValue< GroupLinkStatus >
// reads a whole text so.
ZET_EXPORT GroupLinkStatus sequenceToValue( Zet::String8::IteratorConst& at,
                                            Zet::String8::IteratorConst const& end,
                                            GroupLinkStatus* );

ZET_EXPORT Zet::Ptr< Zet::ZetType const > _fwkType_GroupLinkStatus();

} // namespace UplinkFailureDetection

template <> struct Notify::Description< UplinkFailureDetection::GroupLinkStatus > {
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "GroupLinkStatus";
   // The texts of the enumerators, by number.
   static constexpr std::array< char const*, 3 > enumerators{ "unknown", "up", "down" };
};

template <> struct Zet::TypeOf< UplinkFailureDetection::GroupLinkStatus > {
   static Ptr< ZetType const > type() { return UplinkFailureDetection::_fwkType_GroupLinkStatus(); }
};
