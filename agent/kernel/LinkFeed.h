#pragma once

#include "agent/kernel/LinkSource.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

struct nlmsghdr;

namespace Ufdd {

// Decodes the datagrams of an rtnetlink socket that is subscribed to the kernel's link messages,
// and delivers the links. After messages were lost it delivers nothing until a complete dump of all
// links, requested after the loss, has come in.
class LinkFeed {
 public:
   static constexpr double dumpPatience = 1; // In seconds.
   // The number of refused dumps in a row after which it gives up: without a list of links, ufdd
   // had better end than go on.
   static constexpr int maxRefusals = 5;

   // `ownNumber` is the netlink port number of the socket; 0 if unknown.
   explicit LinkFeed( LinkListener& listener, std::uint32_t ownNumber = 0 )
       : listener_( listener ), ownNumber_( ownNumber ) {}

   // Returns true if messages may be missing, as at the beginning, and no dump is under way: the
   // owner must request one.
   bool dumpWanted() const { return state_ == State::lost; }
   // Returns true if nothing of the dump under way came for dumpPatience. The dump counts as lost
   // then, and another one is wanted.
   bool takeOverdueDump();
   // Returns true if the listener knows the state of all links.
   bool complete() const { return state_ == State::live; }

   // Returns true if messages came since tookMessages(), beside answers to our questions.
   bool hasMessages() const { return hasMessages_; }
   // Returns true if messages came since the last call, beside answers to our questions.
   bool tookMessages() { return std::exchange( hasMessages_, false ); }
   // Returns what went wrong since the last call, for which all links are read again; or nothing.
   std::string takeTrouble() { return std::exchange( trouble_, {} ); }

   // Call when a dump was requested, with the request's sequence number.
   void handleDumpAsked( std::uint32_t sequence );
   // Call with what the socket received, and the netlink port number of the sender.
   // Throws: std::system_error when the kernel refuses the dump for good.
   void handleDatagram( std::uint32_t sender, std::span< std::byte const > datagram );
   // Call when the socket dropped messages, or cut one.
   void handleLoss();
   // Keeps `what` for takeTrouble(), unless there was a trouble already since the links were known.
   void handleTrouble( std::string const& what );

 private:
   enum class State {
      lost,   // No dump is under way, and one is needed.
      dump,   // One is under way.
      spoilt, // One is under way, and another is needed: it can't be asked for before that.
      live,
   };

   bool isDumping() const { return state_ == State::dump || state_ == State::spoilt; }
   void handleMessage( nlmsghdr const& message );
   void handleLinkMessage( nlmsghdr const& message );
   void handleDumpEnd( nlmsghdr const& message );

   LinkListener& listener_;
   std::uint32_t const ownNumber_;
   bool hasMessages_ = false;
   std::string trouble_;
   bool isTroubled_ = false; // Until all links are known again.
   int refusals_ = 0;
   State state_ = State::lost;
   std::uint32_t dumpSequence_ = 0;
   double dumpMovedAt_ = 0; // When it was asked for, or a part of it came.
   // During a dump: all that came since it was requested, in order; the last one of an index
   // counts. A link that is gone has no name.
   std::vector< Link > collected_;
};

} // namespace Ufdd
