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
   // Calls afterBatch after each batch of requests, for which a driver may take seconds.
   explicit NetlinkLinkControl( std::function< void() > afterBatch = [] {} );

   // Returns true if the kernel lets this process change interfaces (CAP_NET_ADMIN). Touches none.
   bool allowed();

   // The requests cost a round trip to the kernel for every batchSize of them. All commands come
   // before the kernel is asked what became of the links: that is another round trip for each of
   // these batches but the last.
   void apply( std::span< LinkRequest > requests ) override;

 private:
   // A driver may take a good part of a second for each, and the service manager expects a sign of
   // life every few seconds.
   static constexpr std::size_t batchSize = 16;
   // In bytes: room for all answers to a batch.
   static constexpr int receiveBuffer = 1 << 20;
   static constexpr std::uint32_t messagesEach = 3;

   // Changes and queries the links of some of all requests. Sends for each of `toChange` a query,
   // unless glance() knows the link's state, and the command; then a second query for each of
   // `toQuery`. The kernel carries out one after the other, so that no command waits for an answer
   // about another link if all are sent before the first of those queries.
   void exchange( std::span< LinkRequest > all, std::span< LinkRequest > toChange,
                  std::span< LinkRequest > toQuery );
   void send( std::span< LinkRequest > all, std::span< LinkRequest > toChange,
              std::span< LinkRequest const > toQuery );
   // Updates request.before by ioctl. Returns false when a query is needed for that.
   bool glance( LinkRequest& request ) const;
   void receiveAnswers( std::span< LinkRequest > all, std::span< LinkRequest const > toQuery );
   void handleAnswer( nlmsghdr const& message, std::span< LinkRequest > requests );

   std::function< void() > const afterBatch_;
   NetlinkSocket socket_;
   LinkProbe probe_;
   std::vector< std::byte > batch_;
   std::uint32_t firstSequence_ = 1; // Of the requests under way, messagesEach for each.
   std::size_t count_ = 0;           // Of them.
};

} // namespace Ufdd
