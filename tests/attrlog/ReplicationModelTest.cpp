#include "tests/attrlog/Connection.h"
#include "tests/support/RandomSequences.h"

#include <algorithm>
#include <optional>

namespace Tests {

namespace {

// What can happen to a source, a replica and what is between them: the place in World's actions.
struct Event {
   std::size_t action;
   unsigned int a, b;
};
using Sequence = std::vector< Event >;

Kelnet::IntfId
interface( unsigned int number ) {
   return Kelnet::IntfId( "et" + std::to_string( number % 40 ) );
}

Zet::Name
name( unsigned int number ) {
   return "g" + std::to_string( number % 5 );
}

void
set( Ufd::GroupConfig& group, unsigned int what ) {
   switch ( what % 6 ) {
   case 0:
      return group.minLinksIs( what / 6 % 4 );
   case 1:
      return group.intfsToDisableIs( interface( what / 6 ), what % 4 == 1 );
   case 2:
      group.intfsToMonitorDel( interface( what / 6 ) );
      return;
   case 3:
      group.intfsToDisableDel( interface( what / 6 ) );
      return;
   case 4:
      return what % 31 == 0 ? group.intfsToMonitorDelAll()
                            : group.intfsToMonitorIs( interface( what / 6 ), true );
   default:
      return group.intfsToMonitorIs( interface( what / 6 ), what % 4 == 1 );
   }
}

void
set( Ufd::GroupStatus& group, unsigned int what ) {
   switch ( what % 3 ) {
   case 0:
      return group.groupLinkStatusIs( static_cast< Ufd::GroupLinkStatus >( what / 3 % 3 ) );
   case 1:
      group.numTimesDisabledInc( what % 5 );
      return;
   default:
      return group.prevDisabledTimeIs( what / 3 % 100 );
   }
}

// A source, its replica, and a connection of the smallest size. Bytes move one way in pieces of
// any length.
template < class E > class World {
 public:
   World() { connect( 0 ); }

   struct Action {
      char const* name;
      unsigned int weight; // The likelier, the more.
      void ( *act )( World& world, unsigned int a, unsigned int b );
   };
   static constexpr Action actions[] = {
      { "add", 3,
        []( World& w, unsigned int a, unsigned int ) { w.writer_->root->groupIs( name( a ) ); } },
      { "remove", 2,
        []( World& w, unsigned int a, unsigned int ) { w.writer_->root->groupDel( name( a ) ); } },
      { "set", 6, []( World& w, unsigned int a, unsigned int b ) { w.set( a, b ); } },
      { "burst", 4,
        []( World& w, unsigned int a, unsigned int b ) {
           for ( unsigned int one = 0; one < 160; ++one )
              w.set( a + one % 2, b * 31 + one * 7 );
        } },
      { "transfer", 4,
        []( World& w, unsigned int, unsigned int b ) {
           w.transfer( *w.writer_->demuxer, *w.reader_->demuxer, b % 200 );
        } },
      { "transferAll", 1,
        []( World& w, unsigned int, unsigned int ) {
           w.transfer( *w.writer_->demuxer, *w.reader_->demuxer, ~0u );
        } },
      { "room", 2,
        []( World& w, unsigned int, unsigned int ) { w.writer_->demuxer->handleRoom(); } },
      { "resync", 2, []( World& w, unsigned int a, unsigned int ) { w.resync( a ); } },
      { "request", 1,
        []( World& w, unsigned int, unsigned int ) {
           if ( auto const adapter = w.reader_->adapter() )
              w.requests_ += adapter->replayRequestSend( { 6, 258 } );
           w.transfer( *w.reader_->demuxer, *w.writer_->demuxer, ~0u );
        } },
      { "reconnect", 1, []( World& w, unsigned int a, unsigned int ) { w.connect( a ); } },
      { "settle", 1, []( World& w, unsigned int, unsigned int ) { w.settle(); } },
      { "writeBack", 1, []( World& w, unsigned int a, unsigned int b ) { w.writeBack( a, b ); } },
      { "removeAll", 1,
        []( World& w, unsigned int, unsigned int ) { w.writer_->root->groupDelAll(); } },
   };

   void apply( Event const& event ) { actions[ event.action ].act( *this, event.a, event.b ); }

   // What is wrong after everything has been moved; empty when nothing is.
   std::string complaint() {
      settle();
      if ( !trouble_.empty() )
         return trouble_;
      if ( reader_->demuxer->out()->records() != requests_ )
         return "the reader has echoed";
      std::string const source = stateOf( *writer_->root );
      std::string const replica = stateOf( *reader_->root );
      if ( source != replica )
         return "source:\n" + source + "replica:\n" + replica;
      std::string marked;
      reader_->root->groupMembers().forEach( [ & ]( auto const& group ) {
         if ( group.zetMarkedForDeletion() )
            marked = "a member stays marked";
      } );
      return marked;
   }

 private:
   // Drops what is on its way, and starts over with the replica as it is.
   void connect( unsigned int mode ) {
      auto const source = writer_ ? writer_->root : Zet::make< E >( "root" );
      auto const replica = reader_ ? reader_->root : Zet::make< E >( "root" );
      writer_.reset();
      reader_.reset();
      writer_.emplace( Side::server, source, 1 );
      reader_.emplace( Side::client, replica, 1 );
      reader_->demuxer->out()->helloIs( Zet::TypeId( "" ) );
      requests_ = 0;
      writer_->announce( mode % 2 == 0 ? 0u : LogAdapter::deferred );
   }

   void transfer( Demuxer& from, Demuxer& to, unsigned int most ) {
      while ( most != 0 && from.out()->unsentSize() != 0 ) {
         auto const bytes = from.out()->unsent().first(
             std::min< std::size_t >( from.out()->unsent().size(), most ) );
         if ( !to.in()->receive( bytes ) && trouble_.empty() )
            trouble_ = to.in()->error().c_str();
         most -= static_cast< unsigned int >( bytes.size() );
         from.out()->sentIs( bytes.size() );
      }
   }

   void settle() {
      do {
         transfer( *writer_->demuxer, *reader_->demuxer, ~0u );
         transfer( *reader_->demuxer, *writer_->demuxer, ~0u );
         writer_->demuxer->handleRoom();
         reader_->demuxer->handleRoom();
      } while ( writer_->demuxer->out()->unsentSize() + reader_->demuxer->out()->unsentSize() !=
                    0 &&
                trouble_.empty() );
   }

   // All of it once more, or a group: a replay under way is given up.
   void resync( unsigned int which ) {
      if ( which % 3 == 0 )
         return writer_->adapter()->doThis();
      if ( auto const group = writer_->root->group( name( which ) ) )
         if ( auto const adapter = group->zetNboAttrLogSa( writer_->demuxer->out() ) )
            adapter->doThis();
   }

   void set( unsigned int which, unsigned int what ) {
      if ( auto const group = writer_->root->group( name( which ) ) )
         Tests::set( *group, what );
   }

   // A change of the replica, while nothing is on its way, is one of the source.
   void writeBack( unsigned int which, unsigned int what ) {
      settle();
      auto const group = reader_->root->groupIs( name( which ) );
      Tests::set( *group, what );
      if ( what % 7 == 0 )
         reader_->root->groupDel( group->name() );
      settle();
      requests_ = reader_->demuxer->out()->records();
   }

   std::optional< End< E > > writer_;
   std::optional< End< E > > reader_;
   std::uint64_t requests_ = 0;
   std::string trouble_;
};

template < class E >
std::string
complaintAbout( Sequence const& sequence ) {
   World< E > world;
   for ( Event const& event : sequence )
      world.apply( event );
   return world.complaint();
}

// Alike for every E.
auto const& actions = World< Ufd::Config >::actions;

Sequence
randomSequence( std::uint64_t seed ) {
   std::vector< std::size_t > weighted;
   for ( std::size_t action = 0; action < std::size( actions ); ++action )
      weighted.insert( weighted.end(), actions[ action ].weight, action );
   std::mt19937_64 random( seed );
   Sequence sequence( random() % 60 );
   for ( Event& event : sequence )
      event = { weighted[ random() % weighted.size() ],
                static_cast< unsigned int >( random() % 64 ),
                static_cast< unsigned int >( random() % 4096 ) };
   return sequence;
}

std::string
text( Sequence const& sequence ) {
   std::ostringstream text;
   for ( Event const& event : sequence )
      text << actions[ event.action ].name << '(' << event.a << ',' << event.b << ") ";
   return text.str();
}

template < class E >
constexpr SequenceTest< Event > replicas{ randomSequence, complaintAbout< E >, text };

// A group that is written behind the opening marker of a replay, and removed while there is no
// room, is neither swept nor named again by that replay.
TEST( ReplicationModel, RareSequences ) {
   for ( std::uint64_t const seed : { 52045u, 4229714522u } )
      replicas< Ufd::Config >.play( seed );
}

TEST( ReplicationModel, ReplicasOfAConfigEqualTheirSource ) {
   replicas< Ufd::Config >.playMany( 7000 );
}

TEST( ReplicationModel, ReplicasOfAStatusEqualTheirSource ) {
   replicas< Ufd::Status >.playMany( 3000 );
}

} // namespace

} // namespace Tests
