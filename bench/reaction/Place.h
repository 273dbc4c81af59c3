#pragma once

#include "agent/kernel/LinkProbe.h"
#include "agent/kernel/NetlinkSocket.h"
#include "tests/agent/Process.h"
#include "tests/agent/Tap.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Bench {

using Clock = std::chrono::steady_clock;

struct Case {
   std::string_view name;
   int ports = 1;
   bool inBursts = false;
   bool taps = false;
   int busyLoops = 0;
   // How long the consequences of a trial are left to end before the next.
   std::chrono::milliseconds rest{ 30 };
};

// The name of a tap that is nobody's uplink.
inline constexpr char const* another = "another";

// Runs these commands of ip.
void ip( std::string const& commands );

// An uplink and ports, and the program that looks after them.
class Place {
 public:
   Place( std::string const& peer, std::size_t number, Case const& about,
          std::string const& startPeer );

   void fail();
   // Whether another uplink is said to have failed.
   bool hasAnotherFailed();
   // Takes the messages that there are. Returns true if every port has become so since the uplink
   // failed or recovered.
   bool haveBecome( bool up );
   void recover();
   // In the program's stead.
   void open();
   // Has the kernel report all changes of carriers. By itself it reports 100 to 200 in a second,
   // and the next message about the uplink would have to wait.
   void flushChanges();

   std::string const& peer() const { return peer_; }
   int fd() const { return hearing_->fd(); }
   Clock::time_point begin() const { return begin_; }
   std::vector< double > times; // In milliseconds.
   std::size_t lost = 0;

 private:
   // How a port was last said to be.
   struct Port {
      std::uint32_t index;
      bool isUp = true;
      bool hasCarrier = true;
   };

   void makeLinks( std::string const& uplink, std::vector< std::string > const& ports, bool tap );
   void uplinkIs( bool up );
   void set( std::uint32_t index, bool up );
   void tookMessages();

   std::string const peer_;
   std::optional< Ufdd::NetlinkSocket > hearing_;
   std::optional< Ufdd::NetlinkSocket > acting_;
   std::optional< Ufdd::LinkProbe > probe_;
   std::optional< Ufdd::Tap > tap_;
   std::uint32_t farEnd_ = 0;
   bool hasAnotherCarrier_ = true;
   std::vector< Port > ports_;
   std::vector< Ufdd::InterfaceName > names_; // Of the ports and their far ends.
   std::optional< Ufdd::Process > process_;
   Clock::time_point begin_;
};

} // namespace Bench
