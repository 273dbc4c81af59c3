#include "fuzz/Replica.h"

// The stream reader: any bytes, in pieces of any length. The same bytes give the same replica,
// whatever the pieces.
extern "C" int
LLVMFuzzerTestOneInput( unsigned char const* data, std::size_t size ) {
   if ( size == 0 )
      return 0;
   std::span const stream( data + 1, size - 1 );
   Fuzz::Replica< UplinkFailureDetection::Config > whole;
   Fuzz::Replica< UplinkFailureDetection::Config > pieces;
   whole.receive( stream, stream.size() );
   pieces.receive( stream, data[ 0 ] % 32 + 1u );
   Fuzz::expect( whole.demuxer->in()->error() == pieces.demuxer->in()->error() );
   Fuzz::expect( whole.demuxer->in()->offset() == pieces.demuxer->in()->offset() );
   Fuzz::expect( whole.entity->groupMembers().count() == pieces.entity->groupMembers().count() );
   Fuzz::expect( whole.demuxer->out()->records() == 0 );
   return 0;
}
