#include "platform/zet/Trace.h"

#include <algorithm>
#include <iostream>
#include <vector>

namespace Zet {

std::ostream* coverageStream_ = nullptr;
std::ostream* traceStream_ = &std::cerr;

namespace {

struct LevelsOfName {
   String8 name;
   unsigned int levels;
};

std::vector< LevelsOfName >&
levelsByName() {
   // Never destroyed: static handles are still made when the process ends.
   static std::vector< LevelsOfName >& levels = *new std::vector< LevelsOfName >;
   return levels;
}

unsigned int&
levelsOf( String8 const& name ) {
   auto& all = levelsByName();
   auto found = std::find_if( all.begin(), all.end(),
                              [ & ]( LevelsOfName const& one ) { return one.name == name; } );
   if ( found != all.end() )
      return found->levels;
   all.push_back( { name, 0 } );
   return all.back().levels;
}

unsigned int
withLevel( unsigned int levels, unsigned int level, bool on ) {
   return on ? levels | 1u << level : levels & ~( 1u << level );
}

TraceHandle* firstHandle = nullptr;

} // namespace

TraceHandle::TraceHandle( String8 name, unsigned int levels )
    : name_( std::move( name ) ), levels_( levels | levelsOf( name_ ) ), next_( firstHandle ) {
   firstHandle = this;
}

TraceHandle::~TraceHandle() {
   TraceHandle** at = &firstHandle;
   while ( *at != this )
      at = &( *at )->next_;
   *at = next_;
}

void
TraceHandle::levelIs( unsigned int level, bool on ) noexcept {
   levels_ = withLevel( levels_, level, on );
}

void
TraceHandle::levelIs( String8 const& name, unsigned int level, bool on ) {
   unsigned int& levels = levelsOf( name );
   levels = withLevel( levels, level, on );
   for ( TraceHandle* handle = firstHandle; handle; handle = handle->next_ )
      if ( handle->name_ == name )
         handle->levelIs( level, on );
}

void
traceHelper( TraceHandle const& handle, unsigned int level, char const* source,
             char const* operation, String8 const& text ) {
   auto const write = [ & ]( std::ostream& stream ) {
      stream << handle.name() << ' ' << level << ' ' << source << "::" << operation << ' ' << text
             << '\n';
   };
   if ( handle.isOn( level ) && traceStream_ )
      write( *traceStream_ );
   if ( coverageStream_ )
      write( *coverageStream_ );
}

} // namespace Zet
