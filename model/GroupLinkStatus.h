#pragma once

#include "adapters/notify/Enumeration.h"
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

// The status that a group's uplinks have together. A record from elsewhere may carry another
// number. The text of such a status is "GroupLinkStatus(7)".
enum class GroupLinkStatus : std::uint32_t {
   unknown = 0, // Nothing has been decided yet.
   up = 1,      // At least minLinks are up: the downstream interfaces are enabled.
   down = 2,    // Fewer are up: the downstream interfaces are error-disabled.
};

// Returns "unknown", "up" or "down".
ZET_EXPORT Zet::String8 stringValue( GroupLinkStatus status );
ZET_EXPORT std::ostream& operator<<( std::ostream& stream, GroupLinkStatus const& status );
// Returns the same text in single quotes.
ZET_EXPORT Zet::String8 valueToStrep( GroupLinkStatus const& status );

// Returns the status of that text or number.
// Throws: Zet::RangeException "GroupLinkStatus" for anything else.
ZET_EXPORT GroupLinkStatus GroupLinkStatusInstance( Zet::String8 text );
ZET_EXPORT GroupLinkStatus GroupLinkStatusInstance( unsigned int number );

// Reads a status, quoted or bare, and moves `at` behind it. To read a whole text, call
// Zet::strepToValue< GroupLinkStatus >.
ZET_EXPORT GroupLinkStatus sequenceToValue( Zet::String8::IteratorConst& at,
                                            Zet::String8::IteratorConst const& end,
                                            GroupLinkStatus* );

ZET_EXPORT Zet::Ptr< Zet::ZetType const > _fwkType_GroupLinkStatus();

} // namespace UplinkFailureDetection

template <> struct Notify::Description< UplinkFailureDetection::GroupLinkStatus > {
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "GroupLinkStatus";
   // The text of each enumerator, by its number.
   static constexpr std::array< char const*, 3 > enumerators{ "unknown", "up", "down" };
};

template <> struct Zet::TypeOf< UplinkFailureDetection::GroupLinkStatus > {
   static Ptr< ZetType const > type() { return UplinkFailureDetection::_fwkType_GroupLinkStatus(); }
};
