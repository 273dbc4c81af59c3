#pragma once

#include <string>
#include <string_view>

namespace Ufdd {

// Returns the text with a hex escape ("\x1b") for each byte that could command a terminal, or split
// a line of a log: control characters, also those of UTF-8 (U+0080 to U+009F), and bytes that are
// not valid UTF-8. Names of interfaces and files may have such bytes.
std::string printable( std::string_view text );

// Returns the text in double quotes.
inline std::string
inQuotes( std::string_view text ) {
   return '"' + std::string( text ) + '"';
}

} // namespace Ufdd
