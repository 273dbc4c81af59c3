#include "adapters/attrlog/ConfigLog.h"
#include "adapters/attrlog/StatusLog.h"
#include "bench/log/Changes.h"
#include "platform/kelnet/IntfId.h"

#include <algorithm>
#include <random>

namespace Bench {

namespace {

using namespace UplinkFailureDetection;
using Zet::NboAttrLog::Demuxer;
using Zet::NboAttrLog::Out;
using Token = Out::TransactToken;

constexpr int groups = 60;
constexpr int transitions = 6; // Of each group: an even number, so that a second round changes all.
constexpr std::size_t members = 10000;

Zet::Name
groupName( int group ) {
   return "group" + std::to_string( group );
}

// One end of a connection that replicates a configuration and a status.
class End final : public Demuxer::Roots {
 public:
   explicit End( Demuxer::Side side )
       : config( configFactory( "config" ) ), status( statusFactory( "status" ) ),
         demuxer( Demuxer::DemuxerIs( side, 1 << 21 ) ) {
      demuxer->rootsIs( this );
      demuxer->out()->helloIs( Zet::TypeId( "" ) );
   }
   Zet::Ptr< Zet::Entity > root( Zet::TypeId, Zet::Name const& name ) override {
      if ( name == config->zetName() )
         return config;
      return status;
   }
   void announce( Zet::Ptr< Zet::Entity > const& root ) const {
      root->zetNboAttrLogSaIs( {}, 0, demuxer->out(), nullptr )->doSerializeOrphan();
   }
   // What waits to be sent. Valid until: sent().
   std::span< unsigned char const > unsent() const { return demuxer->out()->unsent(); }
   void sent() const { demuxer->out()->sentIs( unsent().size() ); }

   Zet::Ptr< Config > const config;
   Zet::Ptr< Status > const status;
   Zet::Ptr< Demuxer > const demuxer;
};

// Both ends, in step, with all groups.
class Connection {
 public:
   Connection() {
      for ( int i = 0; i < groups; ++i ) {
         writer.config->groupIs( groupName( i ) );
         writer.status->groupIs( groupName( i ) );
      }
      writer.announce( writer.config );
      writer.announce( writer.status );
      move();
   }
   void move() {
      check( reader.demuxer->in()->receive( writer.unsent() ), "the log is read" );
      writer.sent();
   }
   template < class Entity > Zet::EntityId idOf( Entity& entity ) const {
      return entity.zetNboAttrLogSa( writer.demuxer->out() )->entityId();
   }

   End writer{ Demuxer::Side::server };
   End reader{ Demuxer::Side::client };
};

std::vector< Change >
newChanges() {
   Connection const connection;
   std::vector< Change > all;
   std::vector< int > turns;
   for ( int i = 0; i < groups * transitions; ++i )
      turns.push_back( i % groups );
   std::shuffle( turns.begin(), turns.end(), std::mt19937( 1 ) );
   std::vector< std::uint32_t > count( groups );
   for ( int const group : turns ) {
      auto const& status = connection.writer.status->group( groupName( group ) );
      auto const& config = connection.writer.config->group( groupName( group ) );
      Change change;
      change.header.entity = connection.idOf( *status );
      std::uint32_t const number = ++count[ static_cast< std::size_t >( group ) ];
      change.header.attribute = 258;
      change.value = Change::Value::state;
      change.state = number % 2 == 0 ? 1 : 2;
      all.push_back( change );
      change.header.attribute = 259;
      change.value = Change::Value::count;
      change.count = 100 + number;
      all.push_back( change );
      change.header.attribute = 260;
      change.value = Change::Value::time;
      change.time = 1000.25 + static_cast< double >( all.size() );
      all.push_back( change );
      if ( number > 2 )
         continue;
      change.header.entity = connection.idOf( *config );
      change.header.attribute = 258;
      change.value = Change::Value::member;
      change.key = "Ethernet" + std::to_string( group ) + "/1";
      change.truth = number == 1;
      all.push_back( change );
   }
   return all;
}

// Those of the log alone, without the entities that they come from.
void
encode( Out& out ) {
   for ( Change const& change : changes() ) {
      switch ( change.value ) {
      case Change::Value::count:
         out.record( change.header, change.count );
         break;
      case Change::Value::state:
         out.record( change.header, change.state );
         break;
      case Change::Value::time:
         out.record( change.header, change.time );
         break;
      case Change::Value::member:
         out.record( change.header, std::string_view( change.key ), change.truth );
         break;
      }
   }
}

void
encodeOurs( benchmark::State& state ) {
   Connection connection;
   Zet::Ptr< Out > const out = Zet::make< Out >( codedRoom );
   std::size_t size = 0;
   for ( auto _ : state ) {
      encode( *out );
      size = out->unsentSize();
      benchmark::ClobberMemory();
      out->sentIs( size );
   }
   encode( *out );
   check( connection.reader.demuxer->in()->receive( out->unsent() ), "ours, encoded" );
   check( connection.reader.status->group( groupName( 0 ) )->numTimesDisabled() ==
              100 + transitions,
          "ours, encoded" );
   report( state, size );
}

// Applied, too: every record changes an attribute, and its notifiee is told.
void
decodeOurs( benchmark::State& state ) {
   Connection connection;
   Zet::Ptr< Out > const out = Zet::make< Out >( codedRoom );
   encode( *out );
   auto const before = connection.reader.demuxer->in()->records();
   for ( auto _ : state )
      check( connection.reader.demuxer->in()->receive( out->unsent() ), "ours, decoded" );
   check( connection.reader.demuxer->in()->records() - before == changes().size() * rounds( state ),
          "ours, decoded" );
   for ( int i = 0; i < groups; ++i ) {
      auto const& status = *connection.reader.status->group( groupName( i ) );
      auto const& config = *connection.reader.config->group( groupName( i ) );
      check( status.numTimesDisabled() == 100 + transitions &&
                 status.groupLinkStatus() == GroupLinkStatus( 1 ) &&
                 config.intfsToMonitorMembers().count() == 1,
             "ours, applied" );
   }
   each( state, changes().size() );
}

// What of that is not decoding: the changes, and telling the notifiee of them.
void
applyOurs( benchmark::State& state ) {
   Connection connection;
   std::vector< Zet::Ptr< Zet::Entity > > entities;
   for ( Change const& change : changes() ) {
      auto& adapter = *connection.reader.demuxer->adapter( change.header.entity );
      // As one that applies a record, it writes nothing.
      adapter.bitIs( Zet::Entity::ZetNboAttrLogSa::silentBit, true );
      entities.push_back( adapter.zetNotifierEntity() );
   }
   for ( auto _ : state )
      for ( std::size_t i = 0; i < entities.size(); ++i ) {
         Change const& change = changes()[ i ];
         auto& status = static_cast< GroupStatus& >( *entities[ i ] );
         if ( change.value == Change::Value::count )
            status.numTimesDisabledIs( change.count );
         else if ( change.value == Change::Value::state )
            status.groupLinkStatusIs( static_cast< GroupLinkStatus >( change.state ) );
         else if ( change.value == Change::Value::time )
            status.prevDisabledTimeIs( change.time );
         else
            static_cast< GroupConfig& >( *entities[ i ] )
                .intfsToMonitorIs( Kelnet::IntfId( change.key ), change.truth );
      }
   check( connection.reader.status->group( groupName( 0 ) )->numTimesDisabled() ==
              100 + transitions,
          "ours, applied" );
   each( state, changes().size() );
}

// Written by the flow of the configuration's adapter, read and applied to a replica.
void
replayOurs( benchmark::State& state ) {
   Connection connection;
   auto const& group = connection.writer.config->group( groupName( 0 ) );
   for ( std::string const& key : memberKeys() )
      group->intfsToMonitorIs( Kelnet::IntfId( key ), true );
   connection.move();
   auto const& adapter = group->zetNboAttrLogSa( connection.writer.demuxer->out() );
   for ( auto _ : state ) {
      adapter->doThis();
      connection.move();
   }
   check( connection.reader.config->group( groupName( 0 ) )->intfsToMonitorMembers().count() ==
              members,
          "ours, replayed" );
   each( state, members );
}

} // namespace

std::vector< Change > const&
changes() {
   static std::vector< Change > const all = newChanges();
   return all;
}

std::uint64_t
expectedSum() {
   static std::uint64_t const expected = [] {
      Sum sum;
      for ( Change const& change : changes() ) {
         auto const& header = change.header;
         sum.add( header.entity.first, header.entity.second, header.attribute, header.kind,
                  header.count, header.creation, header.transaction );
         if ( change.value == Change::Value::count )
            sum.add( std::uint64_t{ change.count } );
         else if ( change.value == Change::Value::state )
            sum.add( std::uint64_t{ static_cast< std::uint32_t >( change.state ) } );
         else if ( change.value == Change::Value::time )
            sum.add( change.time );
         else
            sum.add( change.key, change.truth );
      }
      return sum.sum();
   }();
   return expected;
}

std::vector< std::string > const&
memberKeys() {
   static std::vector< std::string > const keys = [] {
      std::vector< std::string > all;
      for ( std::size_t i = 0; i < members; ++i )
         all.push_back( "Ethernet" + std::to_string( i / 64 + 1 ) + '/' +
                        std::to_string( i % 64 ) );
      return all;
   }();
   return keys;
}

void
benchmarks() {
   add( "ours", "encode", encodeOurs );
   add( "ours", "decode", decodeOurs );
   add( "ours", "apply", applyOurs );
   add( "ours", "replay", replayOurs );
   addFloor();
   addProtobuf();
   addFlatbuffers();
   addCapnp();
}

} // namespace Bench
