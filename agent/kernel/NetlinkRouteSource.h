#pragma once

#include "agent/base/EventLoop.h"
#include "agent/kernel/NetlinkSocket.h"
#include "agent/kernel/RouteSource.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct nlmsghdr;

namespace Ufdd {

// The routes and addresses of the network namespace that the process was in when this was made.
class NetlinkRouteSource final : public RouteSource {
 public:
   // Borrows: loop.
   explicit NetlinkRouteSource( EventLoop& loop ) : loop_( loop ) {}

   void follow( std::span< Prefix const > prefixes ) override;
   void listenerIs( RouteListener& listener ) override { listener_ = &listener; }
   RouteTable const& table() const override { return table_; }
   bool isReading() const override { return socket_ && !wasRead_; }
   void putBack( std::span< LinkSettingRequest > requests ) override;
   void deliver() override;
   void recover() override;
   // Handles messages that have come. The loop calls it.
   void handleReadable();
   std::optional< double > nextTime() const override { return readAt_; }
   std::string takeTrouble() override { return std::exchange( trouble_, {} ); }

 private:
   // The reading is a row of dumps: the addresses, the routes of IPv4, those of IPv6.
   enum class Reading { addresses, v4Routes, v6Routes, done };

   // Handles the next datagram, waiting for it at most that long. Returns false when none came.
   bool receive( int timeoutMs );
   void handleMessage( nlmsghdr const& message );
   void handleLink( nlmsghdr const& message );
   bool isWanted( Route const& route ) const;
   void handleDumpEnd( nlmsghdr const& message );
   void handleLoss();
   void readAgain();
   void requestDump();
   void applyBatch( std::span< LinkSettingRequest > requests );

   EventLoop& loop_;
   RouteListener* listener_ = nullptr;
   RouteTable table_;
   // Its messages are filtered. Null until follow() has succeeded.
   std::unique_ptr< NetlinkSocket > socket_;
   std::vector< Prefix > prefixes_;
   Reading reading_ = Reading::done;
   bool wasRead_ = false;  // Completely, at least once.
   bool isSpoilt_ = false; // Messages were lost during the reading.
   std::uint32_t sequence_ = 0;
   // By Zet::now(): when to read everything again, or to give up the dump under way.
   std::optional< double > readAt_;
   std::string trouble_;
   bool wasFull_ = false;
   std::optional< NetlinkSocket > orders_; // For putBack().
   std::uint32_t orderSequence_ = 1;
};

} // namespace Ufdd
