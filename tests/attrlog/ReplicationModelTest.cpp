#include "tests/attrlog/Connection.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <random>

namespace Tests {

namespace {

// What can happen to a source, a replica and what is between them.
enum class Verb {
   add,
   remove,
   removeAll,
   set,
   burst,
   transfer,
   transferAll,
   room,
   resync,
   request,
   reconnect,
   settle,
   writeBack,
   end
};

struct Event {
   Verb verb;
   unsigned int a, b;
};
using Sequence = std::vector< Event >;

Kelnet::IntfId
interface( unsigned int number ) {
   return Kelnet::IntfId( "et" + std::to_string( number % 40 ) );
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

   void apply( Event const& event ) {
      switch ( event.verb ) {
      case Verb::add:
         writer_->root->groupIs( name( event.a ) );
         break;
      case Verb::remove:
         writer_->root->groupDel( name( event.a ) );
         break;
      case Verb::removeAll:
         writer_->root->groupDelAll();
         break;
      case Verb::set:
         if ( auto const group = writer_->root->group( name( event.a ) ) )
            set( *group, event.b );
         break;
      case Verb::burst:
         for ( unsigned int one = 0; one < 160; ++one )
            apply( { Verb::set, event.a + one % 2, event.b * 31 + one * 7 } );
         break;
      case Verb::transfer:
         transfer( *writer_->demuxer, *reader_->demuxer, event.b % 200 );
         break;
      case Verb::transferAll:
         transfer( *writer_->demuxer, *reader_->demuxer, ~0u );
         break;
      case Verb::room:
         writer_->demuxer->handleRoom();
         break;
      case Verb::resync:
         resync( event.a );
         break;
      case Verb::request:
         if ( auto const adapter = reader_->adapter() )
            requests_ += adapter->replayRequestSend( { 6, 258 } );
         transfer( *reader_->demuxer, *writer_->demuxer, ~0u );
         break;
      case Verb::reconnect:
         connect( event.a );
         break;
      case Verb::settle:
         settle();
         break;
      case Verb::writeBack:
         writeBack( event );
         break;
      case Verb::end:
         break;
      }
   }

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
   static Zet::Name name( unsigned int number ) { return "g" + std::to_string( number % 5 ); }

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

   // A change of the replica, while nothing is on its way, is one of the source.
   void writeBack( Event const& event ) {
      settle();
      auto const group = reader_->root->groupIs( name( event.a ) );
      set( *group, event.b );
      if ( event.b % 7 == 0 )
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

Sequence
randomSequence( std::uint64_t seed ) {
   // The likelier, the more often.
   static constexpr Verb verbs[] = {
      Verb::add,       Verb::add,      Verb::add,       Verb::remove,    Verb::remove,
      Verb::set,       Verb::set,      Verb::set,       Verb::set,       Verb::set,
      Verb::set,       Verb::burst,    Verb::burst,     Verb::burst,     Verb::burst,
      Verb::transfer,  Verb::transfer, Verb::transfer,  Verb::transfer,  Verb::transferAll,
      Verb::room,      Verb::room,     Verb::resync,    Verb::resync,    Verb::request,
      Verb::reconnect, Verb::settle,   Verb::writeBack, Verb::removeAll,
   };
   std::mt19937_64 random( seed );
   Sequence sequence( random() % 60 );
   for ( Event& event : sequence )
      event = { verbs[ random() % std::size( verbs ) ],
                static_cast< unsigned int >( random() % 64 ),
                static_cast< unsigned int >( random() % 4096 ) };
   return sequence;
}

// Leaves out events as long as something is wrong.
template < class E >
Sequence
shrunk( Sequence sequence ) {
   for ( std::size_t at = sequence.size(); at-- > 0; ) {
      Sequence shorter = sequence;
      shorter.erase( shorter.begin() + static_cast< std::ptrdiff_t >( at ) );
      if ( !complaintAbout< E >( shorter ).empty() ) {
         sequence = shorter;
         at = sequence.size();
      }
   }
   return sequence;
}

std::string
text( Sequence const& sequence ) {
   static constexpr char const* names[] = { "add",      "remove",   "removeAll",   "set",
                                            "burst",    "transfer", "transferAll", "room",
                                            "resync",   "request",  "reconnect",   "settle",
                                            "writeBack" };
   static_assert( std::size( names ) == static_cast< std::size_t >( Verb::end ) );
   std::ostringstream text;
   for ( Event const& event : sequence )
      text << names[ static_cast< std::size_t >( event.verb ) ] << '(' << event.a << ',' << event.b
           << ") ";
   return text.str();
}

std::uint64_t
environment( char const* variable, std::uint64_t otherwise ) {
   char const* const value = std::getenv( variable );
   return value ? std::strtoull( value, nullptr, 0 ) : otherwise;
}

template < class E >
void
expectReplica( std::uint64_t seed ) {
   Sequence const sequence = randomSequence( seed );
   if ( complaintAbout< E >( sequence ).empty() )
      return;
   Sequence const shortest = shrunk< E >( sequence );
   FAIL() << "UFD_SEED=" << seed << ": " << text( shortest ) << '\n'
          << complaintAbout< E >( shortest );
}

// UFD_SEED=N UFD_SEQUENCES=1 repeats the sequence of seed N.
template < class E >
void
expectReplicas( std::uint64_t sequences ) {
   std::uint64_t const seed = environment( "UFD_SEED", std::random_device()() );
   sequences = environment( "UFD_SEQUENCES", sequences );
   std::cout << "UFD_SEED=" << seed << " UFD_SEQUENCES=" << sequences << '\n';
   for ( std::uint64_t number = 0; number < sequences && !testing::Test::HasFailure(); ++number )
      expectReplica< E >( seed + number );
}

// A group that is written behind the opening marker of a replay, and removed while there is no
// room, is neither swept nor named again by that replay.
TEST( ReplicationModel, RareSequences ) {
   for ( std::uint64_t const seed : { 52045u, 4229714522u } )
      expectReplica< Ufd::Config >( seed );
}

TEST( ReplicationModel, ReplicasOfAConfigEqualTheirSource ) {
   expectReplicas< Ufd::Config >( 7000 );
}

TEST( ReplicationModel, ReplicasOfAStatusEqualTheirSource ) {
   expectReplicas< Ufd::Status >( 3000 );
}

} // namespace

} // namespace Tests
