#include "host/PortDecisions.h"

#include "tests/support/RandomSequences.h"
#include "tests/support/Scenario.h"

#include <algorithm>
#include <set>

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

constexpr std::string_view letters = "ABCDEF";

// A host of the detector that does no more than it is told. "wait" ends a turn of its loop.
class Host : public World {
 public:
   // Does what one turn brings, and what the decisions say at its end: "C! D-" for C shut, D
   // opened.
   std::string turn( std::string_view text ) {
      std::string done;
      for ( Event const& event : events( text ) )
         done += handle( event );
      return done + endTurn();
   }
   std::string handle( Event const& event ) {
      if ( event.verb == Verb::wait )
         return endTurn();
      bool const wasThere = dir->intfStatus( intf( event.intf ) );
      apply( event );
      // A new interface is open.
      if ( wasThere != ( dir->intfStatus( intf( event.intf ) ) != nullptr ) )
         shut_.erase( event.intf );
      if ( event.verb == Verb::appear || event.verb == Verb::replace )
         new_.insert( event.intf );
      return "";
   }
   // What is wrong, by the plain reading: a port is shut if a group that lists it is down.
   std::string complaint() {
      for ( char const letter : letters ) {
         bool mustBeShut = false;
         for ( auto group = config->groupIteratorConst(); group; ++group )
            if ( auto const record = status->group( group->name() ) )
               mustBeShut |= record->groupLinkStatus() == GroupLinkStatus::down &&
                             group->intfsToDisableMembers().find( intf( letter ) );
         if ( decisions.mustBeShut( intf( letter ) ) != mustBeShut )
            complaint_ += std::string( "decided wrong: " ) + letter;
         if ( dir->intfStatus( intf( letter ) ) && shut_.contains( letter ) != mustBeShut )
            complaint_ += std::string( "not told of: " ) + letter;
      }
      return complaint_;
   }

   PortDecisions decisions{ config, status, dir };

 private:
   std::string endTurn() {
      std::string done;
      for ( auto const& [ port, mustBeShut ] : decisions.takeChanges() ) {
         char const letter = port.name().c_str()[ 0 ];
         done += std::string( done.empty() ? "" : " " ) + letter + ( mustBeShut ? '!' : '-' );
         if ( !dir->intfStatus( port ) )
            continue;
         if ( shut_.contains( letter ) == mustBeShut && !new_.contains( letter ) )
            complaint_ += std::string( "told twice: " ) + letter;
         if ( mustBeShut )
            shut_.insert( letter );
         else
            shut_.erase( letter );
      }
      new_.clear();
      return done;
   }

   std::set< char > shut_; // Of the interfaces that exist.
   std::set< char > new_;  // Interfaces that came in this turn.
   std::string complaint_;
};

TEST( PortDecisions, TellsAgainOfANewInterface ) {
   Host host;
   EXPECT_EQ( host.turn( "group g; disable g C; start" ), "C!" );
   EXPECT_EQ( host.turn( "appear C" ), "C!" );
   EXPECT_EQ( host.turn( "vanish C" ), "" );
   // Whatever it was like: the host may have taken it for the same.
   EXPECT_EQ( host.turn( "appear C; min g 0" ), "C-" );
   EXPECT_EQ( host.turn( "replace C" ), "" );
}

TEST( PortDecisions, BeginWithWhatThereIs ) {
   Host host;
   host.turn( "group g; disable g C; group h; disable h D; min h 0; start" );
   PortDecisions late( host.config, host.status, host.dir );
   auto const changes = late.takeChanges();
   ASSERT_EQ( changes.size(), 1u );
   EXPECT_TRUE( changes[ 0 ].port == intf( 'C' ) && changes[ 0 ].mustBeShut );
}

TEST( PortDecisions, AskAPolicyWhenItSaysSo ) {
   struct Spares final : PortDecisions::Policy {
      bool shuts( GroupConfig const&, Kelnet::IntfId port ) const override {
         return port != spared;
      }
      Kelnet::IntfId spared = intf( 'C' );
   } policy;
   World world;
   world.apply( "group g; disable g C; disable g D" );
   PortDecisions decisions( world.config, policy, world.dir );
   EXPECT_EQ( decisions.takeChanges().size(), 1u );
   policy.spared = Kelnet::IntfId();
   EXPECT_EQ( decisions.takeChanges().size(), 0u );
   decisions.decideAgain( name( 'g' ) );
   EXPECT_EQ( decisions.takeChanges().size(), 1u );
   EXPECT_TRUE( decisions.mustBeShut( intf( 'C' ) ) );
}

std::vector< Event >
randomSequence( std::uint64_t seed ) {
   static constexpr Verb verbs[] = {
      Verb::group,   Verb::group,   Verb::ungroup, Verb::monitor, Verb::monitor, Verb::unmonitor,
      Verb::disable, Verb::disable, Verb::disable, Verb::release, Verb::min,     Verb::appear,
      Verb::appear,  Verb::vanish,  Verb::up,      Verb::up,      Verb::down,    Verb::down,
      Verb::wait,    Verb::wait,    Verb::wait,    Verb::stop,    Verb::start,
   };
   std::mt19937_64 random( seed );
   auto const below = [ & ]( std::uint64_t bound ) { return random() % bound; };
   std::vector< Event > sequence( 40 );
   for ( Event& event : sequence )
      event = { verbs[ below( std::size( verbs ) ) ], "ghk"[ below( 3 ) ],
                letters[ below( letters.size() ) ], static_cast< unsigned int >( below( 3 ) ) };
   sequence.front().verb = Verb::start;
   return sequence;
}

TEST( PortDecisions, RandomTurnsLeaveEveryPortAsTheGroupsSay ) {
   Tests::SequenceTest< Event >{ randomSequence,
                                 []( std::vector< Event > const& sequence ) {
                                    Host host;
                                    std::string complaint;
                                    for ( Event const& event : sequence ) {
                                       host.handle( event );
                                       if ( event.verb == Verb::wait && complaint.empty() )
                                          complaint = host.complaint();
                                    }
                                    return complaint;
                                 },
                                 text }
       .playMany( 5000 );
}

} // namespace

} // namespace Scenario
