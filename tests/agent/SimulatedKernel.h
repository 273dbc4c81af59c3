#pragma once

#include "agent/base/Never.h"
#include "agent/kernel/LinkControl.h"
#include "agent/kernel/LinkFeed.h"
#include "agent/kernel/LinkSource.h"
#include "tests/agent/LinkDatagram.h"

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Ufdd {

// A simulated link, with properties that the daemon can't see.
struct SimulatedLink : Link {
   bool cable = true; // The far end sends light; unused for a LAG.
   bool isDormant = false;
   bool hidesCarrier = false; // The driver does not say whether there is carrier.
   bool hasProtoDown = false; // The driver supports protodown.
   bool slips = false;        // Keeps its carrier in spite of protodown.
   bool slipsOnce = false;    // `slips` ends when protodown is set again.
   int refusal = 0;           // The error that answers every act on it; 0 for none.
   // When the kernel updates the operational state and sends the message about the carrier.
   double toldAt = never;
   bool ours = false;      // The daemon set it administratively down, and others left it so.
   bool oursByPd = false;  // The daemon set its protodown, and others left it so.
   bool isUnclear = false; // It is down, and nobody can know whether the daemon set it down.
   std::vector< double > openings; // When others opened it.
   double wrongSince = 0;          // Since when the record of it is wrong; 0 if it is right.

   // Returns true if the daemon keeps it shut.
   bool isOurs() const { return ours || hasProtoDownReason( usualReason ); }
};

// Stands in for the kernel's links. Messages wait until they are delivered, so that a request can
// meet a state that the daemon does not know yet.
class SimulatedKernel : public LinkSource, public LinkControl {
 public:
   void start( LinkListener& listener ) override;
   std::optional< bool > carrier( InterfaceName const& name ) override;
   bool query( std::span< std::uint32_t const > indexes ) override;
   bool recover() override;
   bool tookMessages() override { return feed_->tookMessages(); }
   std::string takeTrouble() override { return feed_->takeTrouble(); }
   void apply( std::span< LinkRequest > requests ) override;

   // Delivers all messages that wait.
   void deliver();
   // Drops all messages that wait. If losesQuestion, the next request for a dump is lost as well.
   void overrun( bool losesQuestion );
   bool hasMessages() const { return isLossy_ || !queue_.empty(); }
   // Sends the delayed messages that are due.
   void handleTime();
   double nextTime() const;

   // Acts of others than the daemon.
   void add( std::string const& name, bool adminUp = true );
   void remove( std::string const& name );
   void rename( std::string const& from, std::string const& to );
   void set( std::string const& name, bool adminUp );
   void carrier( std::string const& name, bool carrier );
   void operState( std::string const& name, std::uint8_t operState );
   void protoDown( std::string const& name, bool on, std::uint32_t reasons );
   // Makes the interface a member of the LAG; or of none, if `lag` is empty.
   void join( std::string const& name, std::string const& lag );
   // Call after the link's hidden properties were changed.
   void update( std::string const& name );

   bool contains( std::string const& name ) const { return links_.contains( name ); }
   SimulatedLink& link( std::string const& name ) { return links_.at( name ); }
   std::map< std::string, SimulatedLink >& links() { return links_; }
   std::map< std::string, SimulatedLink > const& links() const { return links_; }
   bool isUp( std::string const& name ) const { return links_.at( name ).adminUp; }
   std::uint32_t index( std::string const& name ) const { return links_.at( name ).index; }

   std::uint32_t nextIndex = 1;
   std::string acts;        // " -d1 +d2", since the test last emptied it.
   std::string violations;  // Acts of the daemon that are never right.
   unsigned int losses = 0; // Number of losses that hit a daemon which knew all links.
   // Seconds between two messages about lost carriers; 0 to delay none.
   double lossInterval = 0;
   unsigned int driverQueries = 0, linkQueries = 0; // By carrier() and query().
   std::size_t room = 1000;                         // Number of messages that can wait.
   bool isDeaf = false;                             // Queries of single links get no answer.
   // The names of links that have existed, and of those that had carrier, until a test clears them.
   std::set< std::string > existed, wereUp;
   // Called before each act and between the parts of a dump, where anything can happen.
   std::function< void() > meanwhile = [] {};
   // Called after a link was set up or down.
   std::function< void( SimulatedLink const& ) > handleAdmin = []( auto const& ) {};

 private:
   struct Dump {
      std::uint32_t sequence;
      std::uint32_t generation;
      std::size_t listed = 0; // Number of links sent. A change meanwhile can hide other links.
   };

   SimulatedLink* find( std::uint32_t index );
   void answer( LinkRequest& request );
   void act( SimulatedLink& link, LinkRequest& request );
   void carriersFollow( SimulatedLink& link );
   void note( SimulatedLink const& link );
   void tellCarrier( SimulatedLink& link );
   void tell( SimulatedLink& link, std::uint16_t type = RTM_NEWLINK );
   void receive( LinkDatagram const& datagram );
   void dumpPart();

   std::uint64_t nextAddress_ = 0x020000000001;
   std::optional< LinkFeed > feed_;
   std::map< std::string, SimulatedLink > links_;
   std::deque< std::vector< std::byte > > queue_;
   bool isLossy_ = false;
   bool isStarted_ = false; // All links were delivered once.
   bool losesQuestion_ = false;
   std::optional< Dump > dump_;
   std::uint32_t sequence_ = 0;
   std::uint32_t generation_ = 0; // Counts additions and removals of links.
   double quietUntil_ = 0;        // No message about a lost carrier is sent before.
};

} // namespace Ufdd
