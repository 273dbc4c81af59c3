#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/Never.h"
#include "agent/control/ControlRequest.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace Ufdd {

// Sends results of checks to ufdd, by its control socket. Never waits: results that come while a
// request is under way go together in the next one. Results that can't be delivered are dropped,
// since newer ones follow.
class ReportSender {
 public:
   // Calls tell( text ) with what there is to log, each text once until forget().
   ReportSender( std::string path, std::function< void( std::string const& ) > tell )
       : path_( std::move( path ) ), tell_( std::move( tell ) ) {}

   void add( ControlRequest::Report report ) { waiting_.push_back( std::move( report ) ); }
   // Drops everything: ufdd is away, or another one has come.
   void forget();
   // The connection, to be polled for input; -1 while there is none.
   int fd() const { return socket_.fd(); }
   // Call when fd() has input, at the end of each turn, and at nextTime(), by Zet::now().
   void endTurn();
   double nextTime() const;

 private:
   // In seconds: how long ufdd may take to answer, and when to try again if it is busy.
   static constexpr double patience = 3;
   static constexpr double pause = 0.2;

   void send();
   void receive();
   void handleAnswer();
   void handleRefusal( ControlReply const& reply );
   void finish();
   void fail( std::string const& text );

   std::string const path_;
   std::function< void( std::string const& ) > const tell_;
   std::deque< ControlRequest::Report > waiting_;
   std::vector< ControlRequest::Report > sent_; // In the request that is under way.
   std::size_t alone_ =
       0;              // So many of those that wait are sent one by one: ufdd takes all or none.
   Descriptor socket_; // Of the request that is under way.
   std::string answer_;
   double answerBy_ = never; // By Zet::now().
   double pausedUntil_ = 0;  // By Zet::now().
   std::set< std::string > told_;
};

} // namespace Ufdd
