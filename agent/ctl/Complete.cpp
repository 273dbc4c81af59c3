#include "agent/ctl/Complete.h"

#include "agent/base/CommandLine.h"
#include "agent/status/StatusReplica.h"
#include "agent/status/StatusStream.h"

#include <algorithm>
#include <iostream>
#include <set>

namespace Ufdd {

namespace {

// Returns the values of that kind: words, or names in the configuration of the running ufdd.
std::set< std::string >
valuesOf( std::string const& value, std::string const& socket ) {
   if ( value == "STATUS" )
      return { "up", "down" };
   if ( value == "RESULT" )
      return { "up", "down", "unknown" };
   bool const isGroup = value.starts_with( "GROUP" );
   bool const isLink = value.starts_with( "LINK" );
   bool const isPort = value.find( "PORT" ) != std::string::npos;
   bool const isCheck = value == "CHECK";
   if ( !isGroup && !isLink && !isPort && !isCheck )
      return {};
   StatusReplica replica;
   StatusStream stream( socket, replica );
   stream.fill();
   std::set< std::string > names;
   auto const add = [ & ]( auto const& members ) {
      members.forEach( [ & ]( auto const& m ) { names.emplace( m.zetKey().name().view() ); } );
   };
   if ( isCheck )
      replica.state()->checkMembers().forEach(
          [ & ]( CheckState const& check ) { names.emplace( check.zetName().view() ); } );
   replica.config()->groupMembers().forEach( [ & ]( auto const& group ) {
      if ( isGroup )
         names.emplace( group.name().view() );
      if ( isLink )
         add( group.intfsToMonitorMembers() );
      if ( isLink || isPort )
         add( group.intfsToDisableMembers() );
   } );
   return names;
}

} // namespace

void
complete( CommandLine const& line, std::string socket, std::vector< std::string > const& words ) {
   if ( auto const at = std::ranges::find( words, "--socket" );
        words.end() - at > 2 ) // Followed by a path, and by the last word.
      socket = at[ 1 ];
   auto const [ known, value, begin ] = line.completion( words );
   for ( std::string const& word : known )
      std::cout << word << '\n';
   if ( value.empty() )
      return;
   // In a list, only what is behind the last comma is completed.
   std::size_t const comma = begin.rfind( ',' );
   std::string const before = value.starts_with( "LINK" ) && comma != std::string::npos
                                  ? begin.substr( 0, comma + 1 )
                                  : "";
   for ( std::string const& name : valuesOf( value, socket ) )
      if ( ( before + name ).starts_with( begin ) )
         std::cout << before << name << '\n';
}

} // namespace Ufdd
