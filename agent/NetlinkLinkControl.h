#pragma once

#include "agent/LinkControl.h"
#include "agent/NetlinkSocket.h"

#include <cstddef>
#include <cstdint>
#include <vector>

struct nlmsghdr;

namespace Ufdd {

// Sets interfaces of the network namespace that the process was in when this was made.
class NetlinkLinkControl final : public LinkControl {
 public:
   NetlinkLinkControl();

   // Whether the kernel lets this process change interfaces (CAP_NET_ADMIN). Touches none.
   bool allowed();

   // The requests cost one round trip to the kernel for every batchSize of them.
   void apply( std::span< LinkRequest > requests ) override;

 private:
   // So few that all answers fit into the receive buffer that everybody gets.
   static constexpr std::size_t batchSize = 32;

   void applyBatch( std::span< LinkRequest > requests );
   // Each request is a question, how the interface is set, and an order.
   void sendBatch( std::span< LinkRequest const > requests );
   void receiveAnswers( std::span< LinkRequest > requests );
   void handleAnswer( nlmsghdr const& message, std::span< LinkRequest > requests );

   NetlinkSocket socket_;
   std::vector< std::byte > batch_;
   std::uint32_t firstSequence_ = 1; // Of the batch under way, two for each request.
};

} // namespace Ufdd
