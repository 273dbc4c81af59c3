#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/String8.h"

#include <iosfwd>
#include <sstream>

namespace Zet {

// When set, every trace text is built and written here, whatever levels are on.
// Borrows: the stream outlives its use here.
extern ZET_EXPORT std::ostream* coverageStream_;

// Where the traces of handles that are on go; standard error at first.
// Borrows: the stream outlives its use here.
extern ZET_EXPORT std::ostream* traceStream_;

// A named source of traces with a switch per level, 0 to 31. Handles live as long as they are
// used; one that is switched on by name before it exists starts switched on.
class ZET_EXPORT TraceHandle {
 public:
   explicit TraceHandle( String8 name, unsigned int levels = 0 );
   TraceHandle( TraceHandle const& ) = delete;
   TraceHandle& operator=( TraceHandle const& ) = delete;
   ~TraceHandle();

   String8 const& name() const noexcept { return name_; }
   bool isOn( unsigned int level ) const noexcept { return ( levels_ >> level & 1 ) != 0; }
   void levelIs( unsigned int level, bool on ) noexcept;

   // Switches the handles of that name, those to come as well.
   static void levelIs( String8 const& name, unsigned int level, bool on );

 private:
   String8 name_;
   unsigned int levels_;
   TraceHandle* next_;
};

// Writes one line: handle, source, operation, text.
ZET_EXPORT void traceHelper( TraceHandle const& handle, unsigned int level, char const* source,
                             char const* operation, String8 const& text );

template < class... Piece >
[[gnu::noinline, gnu::cold]] void
tracePieces( TraceHandle const& handle, unsigned int level, char const* source,
             char const* operation, Piece const&... piece ) {
   std::ostringstream text;
   ( text << ... << piece );
   traceHelper( handle, level, source, operation, text.str() );
}

// Traces the pieces, one after the other. Off, it costs a branch and builds no text.
template < class... Piece >
inline void
trace( TraceHandle const& handle, unsigned int level, char const* source, char const* operation,
       Piece const&... piece ) {
   if ( handle.isOn( level ) | ( coverageStream_ != nullptr ) ) [[unlikely]]
      tracePieces( handle, level, source, operation, piece... );
}

} // namespace Zet
