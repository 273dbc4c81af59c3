#include "tests/attrlog/Connection.h"
#include "tests/support/RandomSequences.h"

#include <algorithm>
#include <array>
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

template < class E >
void
set( E& root, unsigned int which, unsigned int what ) {
   if ( auto const group = root.group( name( which ) ) )
      set( *group, what );
}

template < class E >
void
burst( E& root, unsigned int which, unsigned int what ) {
   for ( unsigned int one = 0; one < 200; ++one )
      set( root, which + one % 2, what * 31 + one * 7 );
}

// The root and the connection that an event is about.
unsigned int
root( unsigned int a ) {
   return a / 5 % 2;
}
std::size_t
linkOf( unsigned int a ) {
   return a / 10 % 2;
}

// A process with two roots, which it takes from whoever announces them.
template < class E > struct Process final : Demuxer::Roots {
   Zet::Ptr< Zet::Entity > root( Zet::TypeId, Zet::Name const& name ) override {
      return name == roots[ 0 ]->name() ? roots[ 0 ] : roots[ 1 ];
   }
   std::array< Zet::Ptr< E >, 2 > const roots{ Zet::make< E >( "first" ),
                                               Zet::make< E >( "second" ) };
};

// A connection of the smallest size through which one process has the roots of another. Bytes move
// in pieces of any length.
template < class E > class Link {
 public:
   Link( Process< E >& source, Process< E >& replica, unsigned int flags )
       : source_( source ), replica_( replica ), flags_( flags ) {
      writer->rootsIs( &source );
      reader->rootsIs( &replica );
      writer->out()->helloIs( Zet::TypeId( "" ) );
      reader->out()->helloIs( Zet::TypeId( "" ) );
      for ( auto const& root : source.roots )
         attach( *root );
   }

   void attach( E& root ) {
      root.zetNboAttrLogSaIs( {}, flags_, writer->out(), nullptr )->doSerializeOrphan();
   }
   // A root that is announced once more, by the same adapter or by a new one.
   void announceAnew( unsigned int root, bool isAttachedAnew ) {
      if ( isAttachedAnew )
         source_.roots[ root ]->zetNboAttrLogSaDel( writer->out() );
      attach( *source_.roots[ root ] );
   }

   void transfer( Demuxer& from, Demuxer& to, unsigned int most ) {
      while ( most != 0 && from.out()->unsentSize() != 0 ) {
         auto const bytes = from.out()->unsent().first(
             std::min< std::size_t >( from.out()->unsent().size(), most ) );
         if ( !to.in()->receive( bytes ) && trouble.empty() )
            trouble = to.in()->error().c_str();
         most -= static_cast< unsigned int >( bytes.size() );
         from.out()->sentIs( bytes.size() );
      }
   }
   void moveAll() {
      transfer( *writer, *reader, ~0u );
      transfer( *reader, *writer, ~0u );
      writer->handleRoom();
      reader->handleRoom();
   }
   bool isAtRest() const {
      return !trouble.empty() || writer->out()->unsentSize() + reader->out()->unsentSize() == 0;
   }

   // All of it once more, or a group: a replay under way is given up.
   void resync( unsigned int root, unsigned int which ) {
      Zet::Ptr< E > const& source = source_.roots[ root ];
      if ( which % 3 == 0 )
         return source->zetNboAttrLogSa( writer->out() )->doThis();
      if ( auto const group = source->group( name( which ) ) )
         if ( auto const adapter = group->zetNboAttrLogSa( writer->out() ) )
            adapter->doThis();
   }
   void request( unsigned int root ) {
      if ( auto const adapter = replica_.roots[ root ]->zetNboAttrLogSa( reader->out() ) )
         requests += adapter->replayRequestSend( { 6, 258 } );
   }

   bool hasAuthority() const { return ( flags_ & LogAdapter::authority ) != 0; }
   std::string complaint() const {
      if ( !trouble.empty() )
         return trouble;
      if ( writer->hasFlow() || reader->hasFlow() )
         return "something was not written";
      return !hasAuthority() && reader->out()->records() != requests ? "the reader has echoed" : "";
   }

   Zet::Ptr< Demuxer > const writer = Demuxer::DemuxerIs( Side::server, 1 );
   Zet::Ptr< Demuxer > const reader = Demuxer::DemuxerIs( Side::client, 1 );
   // What the reader has a reason to write.
   std::uint64_t requests = 0;
   std::string trouble;

 private:
   Process< E >& source_;
   Process< E >& replica_;
   unsigned int flags_;
};

// A source, a replica that relays it, and the replica of that one.
template < class E > class World {
 public:
   World() { connect( 0, 2 ), connect( 10, 2 ); }

   struct Action {
      char const* name;
      unsigned int weight; // The likelier, the more.
      void ( *act )( World& world, unsigned int a, unsigned int b );
   };
   // `a` says which: of five groups, two roots and two connections.
   static constexpr Action actions[] = {
      { "add", 3,
        []( World& w, unsigned int a, unsigned int ) { w.source( a )->groupIs( name( a ) ); } },
      { "remove", 2,
        []( World& w, unsigned int a, unsigned int ) { w.source( a )->groupDel( name( a ) ); } },
      { "set", 6, []( World& w, unsigned int a, unsigned int b ) { set( *w.source( a ), a, b ); } },
      { "burst", 4,
        []( World& w, unsigned int a, unsigned int b ) { burst( *w.source( a ), a, b ); } },
      { "transfer", 6,
        []( World& w, unsigned int a, unsigned int b ) {
           Link< E >& link = w.link( a );
           link.transfer( *link.writer, *link.reader, b % 200 );
        } },
      { "transferBack", 2,
        []( World& w, unsigned int a, unsigned int b ) {
           Link< E >& link = w.link( a );
           link.transfer( *link.reader, *link.writer, b % 200 );
        } },
      { "transferAll", 2,
        []( World& w, unsigned int a, unsigned int ) {
           Link< E >& link = w.link( a );
           link.transfer( *link.writer, *link.reader, ~0u );
        } },
      { "room", 3,
        []( World& w, unsigned int a, unsigned int b ) {
           ( b % 3 != 0 ? w.link( a ).writer : w.link( a ).reader )->handleRoom();
        } },
      { "resync", 2,
        []( World& w, unsigned int a, unsigned int ) { w.link( a ).resync( root( a ), a ); } },
      { "announceAnew", 2,
        []( World& w, unsigned int a, unsigned int b ) {
           w.link( a ).announceAnew( root( a ), b % 2 == 0 );
        } },
      { "request", 1,
        []( World& w, unsigned int a, unsigned int ) { w.link( a ).request( root( a ) ); } },
      { "reconnect", 2, []( World& w, unsigned int a, unsigned int b ) { w.connect( a, b ); } },
      { "moveAll", 1, []( World& w, unsigned int, unsigned int ) { w.moveAll(); } },
      { "writeBack", 1, []( World& w, unsigned int a, unsigned int b ) { w.writeBack( a, b ); } },
      { "meddle", 4, []( World& w, unsigned int a, unsigned int b ) { w.meddle( a, b ); } },
      { "removeAll", 1,
        []( World& w, unsigned int a, unsigned int ) { w.source( a )->groupDelAll(); } },
   };

   void apply( Event const& event ) { actions[ event.action ].act( *this, event.a, event.b ); }

   // What is wrong after everything has been moved; empty when nothing is.
   std::string complaint() {
      moveAll();
      for ( std::optional< Link< E > > const& link : links_ )
         if ( std::string const text = link->complaint(); !text.empty() )
            return text;
      for ( unsigned int root = 0; root < 2; ++root ) {
         std::string const source = stateOf( *processes_[ 0 ].roots[ root ] );
         for ( Process< E > const& process : processes_ ) {
            if ( std::string const replica = stateOf( *process.roots[ root ] ); replica != source )
               return "source:\n" + source + "replica:\n" + replica;
            bool isMarked = false;
            process.roots[ root ]->groupMembers().forEach(
                [ & ]( auto const& group ) { isMarked |= group.zetMarkedForDeletion(); } );
            if ( isMarked )
               return "a member stays marked";
         }
      }
      return {};
   }

 private:
   Zet::Ptr< E > const& source( unsigned int a ) { return processes_[ 0 ].roots[ root( a ) ]; }
   Link< E >& link( unsigned int a ) { return *links_[ linkOf( a ) ]; }
   Zet::Ptr< E > const& replica( unsigned int a ) {
      return processes_[ linkOf( a ) + 1 ].roots[ root( a ) ];
   }

   // Drops what is on its way, and starts over with the replica as it is.
   void connect( unsigned int a, unsigned int mode ) {
      std::size_t const place = linkOf( a );
      links_[ place ].reset();
      links_[ place ].emplace( processes_[ place ], processes_[ place + 1 ],
                               ( mode % 2 == 0 ? 0u : LogAdapter::deferred ) |
                                   ( mode / 2 % 2 == 0 ? LogAdapter::authority : 0u ) );
   }

   void moveAll() {
      auto const isAtRest = []( auto const& link ) { return link->isAtRest(); };
      int turns = 0;
      do {
         for ( std::optional< Link< E > >& link : links_ )
            link->moveAll();
         if ( ++turns == 1000 )
            links_[ 0 ]->trouble = "it never comes to rest";
      } while ( !std::ranges::all_of( links_, isAtRest ) && turns < 1000 );
   }

   // A change of the replica, while nothing is on its way, is one of the source.
   void writeBack( unsigned int a, unsigned int what ) {
      moveAll();
      auto const group = replica( a )->groupIs( name( a ) );
      Tests::set( *group, what );
      if ( what % 7 == 0 )
         replica( a )->groupDel( group->name() );
      moveAll();
      for ( std::optional< Link< E > >& link : links_ )
         link->requests = link->reader->out()->records();
   }

   // A change of the replica at any time is undone by an authority.
   void meddle( unsigned int a, unsigned int what ) {
      if ( !link( a ).hasAuthority() )
         return;
      E& root = *replica( a );
      switch ( what % 8 ) {
      case 0:
         root.groupIs( name( a ) );
         return;
      case 1:
         root.groupDel( name( a ) );
         return;
      case 2:
         return set( root, a, what / 8 );
      default:
         return burst( root, a, what / 8 );
      }
   }

   std::array< Process< E >, 3 > processes_;
   std::array< std::optional< Link< E > >, 2 > links_;
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

// What few sequences do: change a root that could not be announced for lack of room, announce a
// root once more in the middle of its flow, remove at an authority's peer what that has no room to
// tell.
TEST( ReplicationModel, RareSequences ) {
   for ( std::uint64_t const seed : { 3816u, 7712u, 3736u } )
      replicas< Ufd::Config >.play( seed );
}

TEST( ReplicationModel, ReplicasOfAConfigEqualTheirSource ) {
   replicas< Ufd::Config >.playMany( 4000 );
}

TEST( ReplicationModel, ReplicasOfAStatusEqualTheirSource ) {
   replicas< Ufd::Status >.playMany( 2000 );
}

} // namespace

} // namespace Tests
