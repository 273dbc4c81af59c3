#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/String8.h"

#include <iosfwd>
#include <sstream>

namespace Zet {

// When set, every trace text is built and written here, even of levels that are off.
// Borrows: the stream, while it is set here.
extern ZET_EXPORT std::ostream* coverageStream_;

// The stream for the traces of levels that are on. Standard error at first.
// Borrows: the stream, while it is set here.
extern ZET_EXPORT std::ostream* traceStream_;

// A named source of traces with a switch per level, 0 to 31. Must outlive its last use. A handle
// whose name was switched on before the handle was made starts switched on.
class ZET_EXPORT TraceHandle {
 public:
   explicit TraceHandle( String8 name, unsigned int levels = 0 );
   TraceHandle( TraceHandle const& ) = delete;
   TraceHandle& operator=( TraceHandle const& ) = delete;
   ~TraceHandle();

   String8 const& name() const noexcept { return name_; }
   bool isOn( unsigned int level ) const noexcept { return ( levels_ >> level & 1 ) != 0; }
   void levelIs( unsigned int level, bool on ) noexcept;

   // Switches the level of every handle of that name, present and future.
   static void levelIs( String8 const& name, unsigned int level, bool on );

 private:
   String8 name_;
   unsigned int levels_;
   TraceHandle* next_;
};

// Writes one line: handle, level, source, operation, text.
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

// Traces the pieces, one after the other. While the level is off, a call costs one branch and
// builds no text.
template < class... Piece >
inline void
trace( TraceHandle const& handle, unsigned int level, char const* source, char const* operation,
       Piece const&... piece ) {
   if ( handle.isOn( level ) | ( coverageStream_ != nullptr ) ) [[unlikely]]
      tracePieces( handle, level, source, operation, piece... );
}

} // namespace Zet
