#pragma once

#include "platform/zet/Trace.h"

namespace UplinkFailureDetection {

inline Zet::TraceHandle const&
traceHandle() {
   // Never destroyed: static machines still trace when the process ends.
   static Zet::TraceHandle const& handle = *new Zet::TraceHandle( "UplinkFailureDetectionSm" );
   return handle;
}

// Traces an operation of a machine. All machines share one handle.
template < class... Piece >
void
trace( char const* operation, Piece const&... piece ) {
   Zet::trace( traceHandle(), 0, "UplinkFailureDetectionSm", operation, piece... );
}

} // namespace UplinkFailureDetection
