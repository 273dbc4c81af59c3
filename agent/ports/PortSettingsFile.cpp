#include "agent/ports/PortSettingsFile.h"

#include <cerrno>
#include <charconv>
#include <sstream>

namespace Ufdd {

namespace {

constexpr std::string_view digits = "0123456789abcdef";

std::string
hex( std::vector< std::byte > const& bytes ) {
   std::string text;
   for ( std::byte const byte : bytes ) {
      text += digits[ std::to_integer< std::size_t >( byte >> 4 ) ];
      text += digits[ std::to_integer< std::size_t >( byte & std::byte{ 15 } ) ];
   }
   return text;
}

// Returns nothing for a text that is not hexadecimal.
std::vector< std::byte >
bytesOf( std::string_view text ) {
   std::vector< std::byte > bytes;
   for ( std::size_t at = 0; at + 1 < text.size(); at += 2 ) {
      std::size_t const high = digits.find( text[ at ] );
      std::size_t const low = digits.find( text[ at + 1 ] );
      if ( high == digits.npos || low == digits.npos )
         return {};
      bytes.push_back( static_cast< std::byte >( high << 4 | low ) );
   }
   return bytes;
}

std::string
linesOf( PortSettings const& port ) {
   std::ostringstream lines;
   for ( LinkSetting const& setting : port.settings )
      lines << ( port.isOwed ? "owed " : "present " ) << port.index << ' ' << std::hex
            << port.address << std::dec << ' ' << port.name.view()
            << ( setting.isRoute ? " route " : " address " ) << hex( setting.payload ) << '\n';
   return lines.str();
}

} // namespace

std::vector< PortSettings >
PortSettingsFile::recall() {
   std::vector< PortSettings > all;
   StateFile::Content const content = file_.read();
   std::size_t unread = 0;
   std::istringstream lines( content.lines );
   for ( std::string line;
         content.kind == StateFile::Content::current && std::getline( lines, line ); ) {
      std::istringstream words( line );
      PortSettings port;
      std::string state;
      std::string name;
      std::string kind;
      std::string payload;
      words >> state >> port.index >> std::hex >> port.address >> name >> kind >> payload;
      LinkSetting const setting{ kind == "route", bytesOf( payload ) };
      if ( !words || setting.payload.empty() || !InterfaceName::objection( name ).empty() ) {
         ++unread;
         continue;
      }
      port.name = InterfaceName( name );
      port.isOwed = state == "owed";
      if ( all.empty() || all.back().index != port.index || all.back().isOwed != port.isOwed )
         all.push_back( port );
      all.back().settings.push_back( setting );
   }
   if ( content.kind == StateFile::Content::unreadable )
      keepAside( content.problem );
   if ( unread > 0 ) {
      keepAside( "has " + std::to_string( unread ) + " lines that can't be read" );
      // The readable lines are in no other record now.
      remember( all );
   }
   return all;
}

void
PortSettingsFile::keepAside( std::string const& problem ) {
   std::string const aside = directory_.keepAside( fileName );
   trouble_ = "the record " + place() + " of the addresses and routes of ports " + problem +
              ( aside.empty() ? "; it can't be kept aside"
                              : "; it is kept as " + directory_.path() + '/' + aside ) +
              "; what a shut port has lost may not be put back";
}

int
PortSettingsFile::remember( std::span< PortSettings const > all ) {
   std::string text;
   bool isCut = false;
   for ( bool const isOwed : { true, false } )
      for ( PortSettings const& port : all ) {
         if ( port.isOwed != isOwed )
            continue;
         std::string const lines = linesOf( port );
         bool const fits =
             text.size() + lines.size() + file_.heading().size() <= StateDirectory::maxFileSize;
         isCut |= !fits;
         text += fits ? lines : "";
      }
   int const error = file_.replace( text );
   return error || !isCut ? error : EFBIG;
}

} // namespace Ufdd
