#include "agent/detect/BootFile.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string_view>

namespace Ufdd {

namespace {

// Appends a line, unless the name would break it.
void
appendLine( std::string& text, std::string_view key, std::string_view name ) {
   if ( name.find( '\n' ) == name.npos )
      text.append( key ).append( name ) += '\n';
}

} // namespace

std::optional< BootRecord >
BootFile::recall() {
   StateFile::Content const content = file_.read();
   if ( content.kind != StateFile::Content::current )
      return std::nullopt;
   std::optional< BootRecord > record;
   std::istringstream lines( content.lines );
   for ( std::string key, name; std::getline( lines, key, ' ' ) && std::getline( lines, name ); )
      // A damaged time must not keep ports shut for ever.
      if ( key == "started" )
         record.emplace().firstStart = std::min( std::strtod( name.c_str(), nullptr ), Zet::now() );
      else if ( record && key == "existed" )
         record->interfaces.insert( name );
      else if ( record && key == "up" )
         record->groups.insert( name );
      else if ( record && key == "fallen" )
         record->fallen.insert( name );
      else if ( record && ( key == "passed" || key == "failed" ) )
         record->checks[ name ] = key == "passed";
   return record;
}

int
BootFile::remember( BootRecord const& record ) {
   char started[ 64 ];
   std::snprintf( started, sizeof started, "started %.3f\n", record.firstStart );
   std::string text = started;
   for ( std::string const& name : record.interfaces )
      appendLine( text, "existed ", name );
   for ( std::string const& name : record.groups )
      appendLine( text, "up ", name );
   for ( std::string const& name : record.fallen )
      appendLine( text, "fallen ", name );
   for ( auto const& [ name, isUp ] : record.checks )
      appendLine( text, isUp ? "passed " : "failed ", name );
   return file_.replace( text );
}

} // namespace Ufdd
