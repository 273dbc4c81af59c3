#pragma once

#include "agent/kernel/LinkControl.h"
#include "agent/kernel/LinkFeed.h"
#include "agent/kernel/LinkSource.h"
#include "tests/agent/LinkDatagram.h"

#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Ufdd {

// A link of the simulation, with what can't be seen from outside.
struct SimulatedLink : Link {
   bool cable = true; // The far end sends light; of a LAG, nothing.
   bool isDormant = false;
   bool hidesCarrier = false; // From who asks its driver.
   bool hasProtoDown = false; // Its driver knows of such a thing.
   bool slips = false;        // Has carrier in spite of protodown.
   bool slipsOnce = false;    // Until its protodown is set again.
   int refusal = 0;           // Of every act on it.
   // When the kernel gets to making an operational state of its carrier, and tells of it.
   double toldAt = std::numeric_limits< double >::infinity();
   bool ours = false;      // The daemon set it administratively down, and nobody meddled since.
   bool oursByPd = false;  // Likewise its protodown.
   bool isUnclear = false; // Down, and nobody could tell whose doing that is.
   std::vector< double > openings; // By others, of what was shut.
   double wrongSince = 0;          // What the daemon remembers of it; or 0.
};

// Stands in for the kernel's links. News wait until they are delivered, so that requests can meet
// a state that the daemon hasn't heard of yet.
class SimulatedKernel : public LinkSource, public LinkControl {
 public:
   void start( LinkListener& listener ) override;
   std::optional< bool > carrier( InterfaceName const& name ) override;
   void ask( std::span< std::uint32_t const > indexes ) override;
   bool endTurn() override;
   bool tookMessages() override { return feed_->tookMessages(); }
   std::string takeTrouble() override { return feed_->takeTrouble(); }
   void apply( std::span< LinkRequest > requests ) override;

   // Has all news taken in that there are.
   void deliver();
   // What is waiting to be delivered is dropped; and the next question for all links, if so.
   void overrun( bool losesQuestion );
   bool hasNews() const { return isLossy_ || !queue_.empty(); }
   // Tells what was held back and is due.
   void handleTime();
   double nextTime() const;

   // What others than the daemon do.
   void add( std::string const& name, bool adminUp = true );
   void remove( std::string const& name );
   void rename( std::string const& from, std::string const& to );
   void set( std::string const& name, bool adminUp );
   void carrier( std::string const& name, bool carrier );
   void operState( std::string const& name, std::uint8_t operState );
   void protoDown( std::string const& name, bool on, std::uint32_t reasons );
   // Makes one interface a part of another, which is a LAG, or of none.
   void join( std::string const& name, std::string const& lag );
   // After its hidden properties were changed.
   void update( std::string const& name );

   bool contains( std::string const& name ) const { return links_.contains( name ); }
   SimulatedLink& link( std::string const& name ) { return links_.at( name ); }
   std::map< std::string, SimulatedLink >& links() { return links_; }
   bool isUp( std::string const& name ) const { return links_.at( name ).adminUp; }
   std::uint32_t index( std::string const& name ) const { return links_.at( name ).index; }

   std::uint32_t nextIndex = 1;
   std::string acts;        // " -d1 +d2", since it was last emptied.
   std::string violations;  // What the daemon must not have done.
   unsigned int losses = 0; // That were delivered, to one who knew all links.
   // The time between two tellings of lost carriers.
   double holdBack = 0;
   std::size_t room = 1000; // For news.
   bool isDeaf = false;     // Leaves questions about single links unanswered.
   // Called where anything can happen: before each act and between the parts of a list.
   std::function< void() > meanwhile = [] {};

 private:
   struct Dump {
      std::uint32_t sequence;
      std::uint32_t generation;
      std::size_t listed = 0; // How many, by index: what changes meanwhile can hide others.
   };

   SimulatedLink* find( std::uint32_t index );
   void answer( LinkRequest& request );
   void act( SimulatedLink& link, LinkRequest& request );
   void carriersFollow( SimulatedLink& link );
   void settleCarrier( SimulatedLink& link );
   void tell( SimulatedLink& link, std::uint16_t type = RTM_NEWLINK );
   void receive( LinkDatagram const& datagram );
   void dumpPart();

   std::uint64_t nextAddress_ = 0x020000000001;
   std::optional< LinkFeed > feed_;
   std::map< std::string, SimulatedLink > links_;
   std::deque< std::vector< std::byte > > queue_;
   bool isLossy_ = false;
   bool isStarted_ = false; // All links were told once.
   bool losesQuestion_ = false;
   std::optional< Dump > dump_;
   std::uint32_t sequence_ = 0;
   std::uint32_t generation_ = 0; // Of the list of links.
   double quietUntil_ = 0;        // So long lost carriers are held back.
};

} // namespace Ufdd
