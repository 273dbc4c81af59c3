#include "fuzz/Replica.h"

namespace {

template < class E >
void
read( std::span< unsigned char const > stream, std::size_t most ) {
   Fuzz::Replica< E > whole;
   Fuzz::Replica< E > pieces;
   whole.receive( stream, stream.size() );
   pieces.receive( stream, most );
   Fuzz::expect( whole.demuxer->in()->error() == pieces.demuxer->in()->error() );
   Fuzz::expect( whole.demuxer->in()->offset() == pieces.demuxer->in()->offset() );
   Fuzz::expect( whole.entity->groupMembers().count() == pieces.entity->groupMembers().count() );
   Fuzz::expect( whole.demuxer->out()->records() == 0 );
}

} // namespace

// Tests the stream reader with any bytes, in pieces of any length. The same bytes must give the
// same replica, however they are cut.
extern "C" int
LLVMFuzzerTestOneInput( unsigned char const* data, std::size_t size ) {
   if ( size == 0 )
      return 0;
   std::span const stream( data + 1, size - 1 );
   std::size_t const most = data[ 0 ] % 32 + 1u;
   if ( ( data[ 0 ] & 32 ) == 0 )
      read< UplinkFailureDetection::Config >( stream, most );
   else
      read< UplinkFailureDetection::Status >( stream, most );
   return 0;
}
