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

// Makes link news of the datagrams of an rtnetlink socket that is subscribed to the kernel's
// link group. Knows when news were lost, and then tells nothing until a dump of all links, asked
// for after that, has come in whole.
class LinkFeed {
 public:
   static constexpr double dumpPatience = 1; // In seconds.
   // In a row, other than for the moment. Without a list nothing is known of any link, so that it
   // is better to end than to go on.
   static constexpr int maxRefusals = 5;

   // `ownPort` is the port number of the socket.
   explicit LinkFeed( LinkListener& listener, std::uint32_t ownPort = 0 )
       : listener_( listener ), ownPort_( ownPort ) {}

   // News may be missing, as at the beginning: the owner must ask the kernel for a dump, unless
   // one is under way.
   bool dumpWanted() const { return state_ == State::lost; }
   // Whether one is under way of which nothing came for dumpPatience. It counts as lost, be it the
   // question or the answer, and is wanted again.
   bool takeOverdueDump();
   // The listener knows all that the kernel said.
   bool complete() const { return state_ == State::live; }

   // Whether anything happened since the last call, other than that our questions were answered.
   bool takeNews() { return std::exchange( hasNews_, false ); }
   // What went wrong since the last call, so that all links are read again; or empty.
   std::string takeTrouble() { return std::exchange( trouble_, {} ); }

   // A dump was asked for, under that sequence number.
   void handleDumpAsked( std::uint32_t sequence );
   // What the socket received, and the port number of who sent it.
   // Throws: std::system_error when the kernel refuses the dump for good.
   void handleDatagram( std::uint32_t sender, std::span< std::byte const > datagram );
   // The socket dropped messages, or cut one.
   void handleLoss();
   // Takes it for a trouble, unless there was one already since the links were known.
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
   void handleNews( nlmsghdr const& message );
   void handleDumpEnd( nlmsghdr const& message );

   LinkListener& listener_;
   std::uint32_t const ownPort_;
   bool hasNews_ = false;
   std::string trouble_;
   bool isTroubled_ = false; // Until all links are known again.
   int refusals_ = 0;
   State state_ = State::lost;
   std::uint32_t dumpSequence_ = 0;
   double dumpMovedAt_ = 0; // When it was asked for, or a part of it came.
   // While a dump is under way: all that was said since, in order; the last word on an index
   // counts. A link that is gone has no name.
   std::vector< Link > said_;
};

} // namespace Ufdd
