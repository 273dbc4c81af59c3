#pragma once

#include "agent/kernel/LinkControl.h"
#include "agent/kernel/LinkProbe.h"
#include "agent/kernel/NetlinkSocket.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

struct nlmsghdr;

namespace Ufdd {

// Sets interfaces of the network namespace that the process was in when this was made.
class NetlinkLinkControl final : public LinkControl {
 public:
   // Calls afterBatch whenever a batch of requests is done, which may take a while.
   explicit NetlinkLinkControl( std::function< void() > afterBatch = [] {} );

   // Whether the kernel lets this process change interfaces (CAP_NET_ADMIN). Touches none.
   bool allowed();

   // The requests cost one round trip to the kernel for every batchSize of them.
   void apply( std::span< LinkRequest > requests ) override;

 private:
   // Drivers may take a good part of a second for each, and the service manager wants a sign of
   // life every few.
   static constexpr std::size_t batchSize = 16;
   // For all answers to a batch.
   static constexpr int receiveBuffer = 1 << 20;
   static constexpr std::uint32_t messagesEach = 3;

   void applyBatch( std::span< LinkRequest > requests );
   // Each request is an order between two questions, how the interface is: just before, unless a
   // glance tells, and when all of the batch are done, for none is to wait for an answer about
   // another.
   void sendBatch( std::span< LinkRequest > requests );
   // Brings what was known before up to date, as far as it matters; false when that must be asked
   // for, and is not known until then.
   bool glance( LinkRequest& request ) const;
   void receiveAnswers( std::span< LinkRequest > requests );
   void handleAnswer( nlmsghdr const& message, std::span< LinkRequest > requests );

   std::function< void() > const afterBatch_;
   NetlinkSocket socket_;
   LinkProbe probe_;
   std::vector< std::byte > batch_;
   std::uint32_t firstSequence_ = 1; // Of the batch under way, messagesEach for each request.
};

} // namespace Ufdd
