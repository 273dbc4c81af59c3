#pragma once

#include "agent/base/Log.h"
#include "agent/detect/Detector.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/LinkControl.h"
#include "agent/ports/Holdings.h"
#include "agent/ports/PortReport.h"

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Ufdd {

// Shuts and opens links by what works with each, has it remembered before, and sees what came of
// it: what is ours now, what is told, what has to be tried again, what is overridden.
class PortActs {
 public:
   // A held port that others open is shut again so often within that time, and then left to them
   // until the groups that hold it are up.
   static constexpr std::size_t maxReopenings = 3;
   static constexpr double reopeningSeconds = 60;

   // Borrows: all.
   PortActs( Detector const& detector, LinkDirectory const& links, LinkControl& control,
             Holdings& holdings, Log& log )
       : links_( links ), control_( control ), holdings_( holdings ),
         report_( detector, links, log ) {}

   // What is asked for is done by act(), unless it need not be, or has failed before.
   // That bit among the reasons for protodown is to be ours, if the link isn't shut yet.
   void askToShut( Link const& link, Kelnet::IntfId port, unsigned int reason );
   void askToOpen( Holding const& holding, Kelnet::IntfId port );
   void act();
   // The link need not be shut any more: who opened it may do so again.
   void forgetReopenings( std::uint32_t index );
   void handleGone( std::uint32_t index );

   bool hasFailures() const { return !failed_.empty(); }
   // The acts that failed, by index: whether the link was to be opened. They may be asked for
   // again.
   std::map< std::uint32_t, bool > takeFailed() { return std::exchange( failed_, {} ); }
   // Opens all that is ours, because the daemon stops. False when a link couldn't be opened.
   bool release();

 private:
   // What is known of a link beside the news of it.
   struct State {
      bool leftAlone = false; // We found it administratively down, and left it so.
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
   void leaveAlone( std::uint32_t index, Kelnet::IntfId port );
   void apply();
   // Of what is to be opened, those that are not what was shut or are open already go to the end;
   // the result is the end of the rest.
   Requests::iterator setAside( Requests::iterator openings );
   // Takes those out that have no protodown, or that have carrier in spite of it, which is undone,
   // to be shut administratively.
   Requests fallBack();
   bool undo( LinkRequest const& slipped );
   void rememberBefore();
   void handleAnswers();
   void handleAnswer( LinkRequest& answer );
   void handleShut( LinkRequest const& answer );
   void handleOpened( LinkRequest const& answer );
   void handleReopenings( LinkRequest const& answer );
   void handleFailure( LinkRequest const& answer );

   LinkDirectory const& links_;
   LinkControl& control_;
   Holdings& holdings_;
   PortReport report_;

   std::unordered_map< std::uint32_t, State > states_; // By index.
   // None of these is tried again before takeFailed(), for it may make news of its own.
   std::map< std::uint32_t, bool > failed_;
   Requests requests_; // The acts to come: what is to be shut comes first.
};

} // namespace Ufdd
