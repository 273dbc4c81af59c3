#include "platform/zet/Trace.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

// Counts how often it is turned into text.
struct Piece {
   mutable int written = 0;
};

std::ostream&
operator<<( std::ostream& stream, Piece const& piece ) {
   ++piece.written;
   return stream << "piece";
}

TEST( Trace, buildsNoTextUnlessSomeoneReadsIt ) {
   std::ostringstream traces;
   std::ostringstream coverage;
   std::ostream* const before = std::exchange( Zet::traceStream_, &traces );
   Zet::TraceHandle handle( "TraceTest" );
   Piece const piece;
   auto const trace = [ & ] { Zet::trace( handle, 1, "Source", "operation", "a ", piece ); };
   trace();
   handle.levelIs( 0, true );
   trace();
   EXPECT_EQ( piece.written, 0 );
   handle.levelIs( 1, true );
   trace();
   EXPECT_EQ( traces.str(), "TraceTest 1 Source::operation a piece\n" );
   EXPECT_EQ( piece.written, 1 );
   handle.levelIs( 1, false );
   Zet::coverageStream_ = &coverage;
   trace();
   Zet::coverageStream_ = nullptr;
   Zet::traceStream_ = before;
   EXPECT_EQ( coverage.str(), traces.str() );
}

TEST( Trace, isSwitchedByNameAlsoBeforeItExists ) {
   Zet::TraceHandle::levelIs( "TraceTest.named", 3, true );
   Zet::TraceHandle const first( "TraceTest.named" );
   Zet::TraceHandle const other( "TraceTest.other" );
   EXPECT_TRUE( first.isOn( 3 ) );
   EXPECT_FALSE( first.isOn( 0 ) || other.isOn( 3 ) );
   {
      Zet::TraceHandle const passing( "TraceTest.named" );
      Zet::TraceHandle::levelIs( "TraceTest.named", 0, true );
      EXPECT_TRUE( first.isOn( 0 ) && passing.isOn( 0 ) );
   }
   Zet::TraceHandle::levelIs( "TraceTest.named", 3, false );
   EXPECT_FALSE( first.isOn( 3 ) || Zet::TraceHandle( "TraceTest.named" ).isOn( 3 ) );
}

} // namespace
