#pragma once

#include "platform/zet/Trace.h"

namespace UplinkFailureDetection {

inline Zet::TraceHandle const&
traceHandle() {
   static Zet::TraceHandle const handle( "UplinkFailureDetectionSm" );
   return handle;
}

// What the machines do, all under one handle.
template < class... Piece >
void
trace( char const* operation, Piece const&... piece ) {
   Zet::trace( traceHandle(), 0, "UplinkFailureDetectionSm", operation, piece... );
}

} // namespace UplinkFailureDetection
