#pragma once

#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/LinkControl.h"
#include "agent/ports/OwnedLinks.h"
#include "agent/ports/PortResult.h"

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Ufdd {

// Shuts and opens links by the first method that works. Writes a link to the record before it is
// first shut, if the record can be written. Then handles the result: what is ours now, what is
// logged, what is tried again, what is overridden.
class PortActs {
 public:
   // A port that others open is shut again this many times within this many seconds. Then it is
   // overridden: left open until its groups are up.
   static constexpr std::size_t maxReopenings = 3;
   static constexpr double reopeningSeconds = 60;

   // Borrows: all.
   PortActs( LinkDirectory const& links, LinkControl& control, OwnedLinks& owned )
       : links_( links ), control_( control ), owned_( owned ) {}

   // These queue an act for act(), unless it is needless or has failed before. `reason` is our bit
   // among the reasons for protodown, for a link that isn't shut yet. A link that `isOrdered` is
   // shut again however often others open it.
   void queueShut( Link const& link, Kelnet::IntfId port, unsigned int reason, bool isOrdered );
   void queueOpen( OwnedLink const& owned, Kelnet::IntfId port );
   // Queries a link of ours that looks open. It is ours no more if somebody has really opened it:
   // the message that showed it open may be older than our last act.
   void disownIfOpen( OwnedLink const& owned );
   // Tells, once until it is shut or forgetNotes() is called, that the link must be shut but
   // is left open because of `why`.
   void noteLeftOpen( Link const& link, Kelnet::IntfId port, PortResult::Kind why );
   // Call when the last act on the link, which may have failed, is not wanted any more.
   void forgetFailure( std::uint32_t index );
   void act();
   // Call when the link need not be shut any more. If it must be shut later, all is told again, and
   // reopenings are counted from 0.
   void forgetNotes( std::uint32_t index );
   void handleGone( std::uint32_t index );

   // The results since the last call, in the order of the acts.
   std::vector< PortResult > takeResults() { return std::exchange( results_, {} ); }
   bool hasFailures() const { return !failed_.empty(); }
   // Returns true if the last act on the link failed.
   bool hasFailed( std::uint32_t index ) const;
   // Returns true if the link was administratively down already when it had to be shut.
   bool wasFoundDown( std::uint32_t index ) const;
   // Returns the links whose last act failed, by index, with true for those to be opened. Their
   // acts may be asked for again.
   std::map< std::uint32_t, bool > takeFailed() { return std::exchange( failed_, {} ); }
   // Opens all links that are ours, because the daemon stops. Returns false when one stays shut.
   bool openAll();

 private:
   // Our history with a link.
   struct State {
      bool foundDown = false; // We found it administratively down, and left it so.
      std::optional< PortResult::Kind > leftOpen; // Told by noteLeftOpen().
      bool hasNoProtoDown = false;
      int error = 0; // Of the last act on it.
      // When we last shut it again, in a ring.
      std::array< double, maxReopenings > reopened = never();
      std::size_t next = 0;

      static constexpr std::array< double, maxReopenings > never() {
         std::array< double, maxReopenings > times{};
         times.fill( -std::numeric_limits< double >::infinity() );
         return times;
      }
   };

   using Requests = std::vector< LinkRequest >;

   bool hasFailed( std::uint32_t index, bool up ) const;
   void noteFoundDown( LinkRequest const& request );
   void add( PortResult::Kind kind, LinkRequest const& answer );
   void apply();
   // Moves requests for links that are open already, or are not the ones that we shut, to the end.
   // Returns the end of the others.
   Requests::iterator setAside( Requests::iterator openings );
   // Takes out the requests on which protodown had no effect, undoes it, and returns requests to
   // set these links administratively down.
   Requests fallBack();
   bool undo( LinkRequest const& slipped );
   void rememberBefore();
   void handleAnswers();
   void handleAnswer( LinkRequest& answer );
   void handleShut( LinkRequest const& answer );
   void handleOpened( LinkRequest const& answer );
   void overrideIfOpen( LinkRequest const& answer );
   void handleFailure( LinkRequest const& answer );

   LinkDirectory const& links_;
   LinkControl& control_;
   OwnedLinks& owned_;

   std::unordered_map< std::uint32_t, State > states_; // By index.
   // Not tried again before takeFailed(): a failing act may cause link messages, which would have
   // it tried again at once.
   std::map< std::uint32_t, bool > failed_;
   Requests requests_; // Queued; links to be shut come first.
   std::vector< PortResult > results_;
};

} // namespace Ufdd
