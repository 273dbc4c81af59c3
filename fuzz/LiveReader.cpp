#include "fuzz/Replica.h"

namespace {

using Fuzz::Demuxer;
using UplinkFailureDetection::Config;
using UplinkFailureDetection::GroupConfig;

// Changes the model when it hears of a change. The bytes choose the changes.
class Meddler final : public Config::NotifieeConst {
 public:
   Meddler( Config& root, unsigned int manners ) : root_( root ), manners_( manners ) {}

   void onGroup( Zet::Name name ) override {
      if ( depth_ == 3 )
         return;
      ++depth_;
      unsigned int const now = manners_;
      manners_ = manners_ * 5 + 1;
      Zet::Ptr< GroupConfig > const group = root_.group( name );
      if ( ( now & 7 ) == 1 )
         root_.groupDel( name );
      else if ( ( now & 7 ) == 2 )
         root_.groupIs( "x" );
      else if ( ( now & 7 ) == 3 )
         root_.groupDelAll();
      else if ( ( now & 7 ) == 4 && group )
         group->intfsToMonitorIs( Kelnet::IntfId( "et1" ), true );
      else if ( ( now & 7 ) == 5 )
         root_.groupIs( name )->minLinksIs( now );
      --depth_;
   }

 private:
   Config& root_;
   unsigned int manners_;
   int depth_ = 0;
};

// Moves the bytes of an output to an input, or drops them.
void
move( Demuxer& from, Demuxer* to ) {
   for ( int turn = 0; turn < 8; ++turn ) {
      from.handleRoom();
      while ( from.out()->unsentSize() != 0 ) {
         auto const bytes = from.out()->unsent();
         if ( to )
            to->in()->receive( bytes );
         from.out()->sentIs( bytes.size() );
      }
   }
}

} // namespace

// Tests the reader with a live model behind it: an observer that reacts, and a relay to another
// replica.
extern "C" int
LLVMFuzzerTestOneInput( unsigned char const* data, std::size_t size ) {
   if ( size < 2 )
      return 0;
   Fuzz::Replica< Config > replica;
   Fuzz::Replica< Config > end;
   Zet::Ptr< Demuxer > const relay = Demuxer::DemuxerIs( Demuxer::Side::server, 1 );
   relay->out()->helloIs( Zet::TypeId( "UplinkFailureDetection::Config" ) );
   replica.demuxer->out()->helloIs( Zet::TypeId( "" ) );
   end.demuxer->out()->helloIs( Zet::TypeId( "" ) );
   replica.entity->zetNboAttrLogSaIs( {}, data[ 0 ] & 2u, relay->out(), nullptr )
       ->doSerializeOrphan();
   // An authority answers the changes in the bytes instead of applying them.
   if ( ( data[ 0 ] & 4 ) != 0 )
      replica.entity->zetNboAttrLogSaIs( {}, Zet::Entity::ZetNboAttrLogSa::authority,
                                         replica.demuxer->out(), nullptr );
   auto const meddler = Zet::make< Meddler >( *replica.entity, data[ 1 ] );
   replica.entity->zetNotifieeAdapterIs( meddler );

   std::span const stream( data + 2, size - 2 );
   std::size_t const half = stream.size() * ( data[ 0 ] >> 4 ) / 16;
   replica.receive( stream.first( half ), half );
   move( *replica.demuxer, nullptr );
   move( *relay, end.demuxer.get() );
   move( *end.demuxer, relay.get() );
   replica.receive( stream.subspan( half ), stream.size() );
   move( *replica.demuxer, nullptr );
   move( *relay, end.demuxer.get() );
   move( *end.demuxer, relay.get() );
   move( *relay, end.demuxer.get() );
   Fuzz::expect( end.demuxer->in()->error().empty() );
   Fuzz::expect( relay->in()->error().empty() );
   Fuzz::expect( end.entity->groupMembers().count() == replica.entity->groupMembers().count() );
   return 0;
}
