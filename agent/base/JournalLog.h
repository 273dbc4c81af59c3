#pragma once

#include "agent/base/Log.h"

#include <deque>
#include <string>

namespace Ufdd {

// A log in the systemd journal. A line that is about groups, a port or a kind of event has the
// fields UFD_GROUP, UFD_PORT and MESSAGE_ID beside its text.
class JournalLog final : public BufferedLog {
 public:
   static constexpr char const* usualSocket = "/run/systemd/journal/socket";

   // Returns true if standard error leads to the journal: whoever started us wants the log there.
   static bool isWanted();

   // `socket` is the path of the journal's socket.
   // Throws: std::system_error when no socket can be made.
   explicit JournalLog( std::string socket = usualSocket );
   ~JournalLog() override;
   JournalLog( JournalLog const& ) = delete;
   JournalLog& operator=( JournalLog const& ) = delete;

   bool flush() override;

 private:
   // New lines are dropped while the last flush() has left this many lines or more. Lines of one
   // turn are never dropped because they are many.
   static constexpr std::size_t maxWaiting = 512;

   bool take( LogEvent const& event, std::string_view text ) override;
   // Sends waiting_. Returns false if the journal takes no more for now.
   bool send();

   std::string const socket_;
   int const fd_;
   std::deque< std::string > waiting_; // One datagram of the journal's protocol for each line.
   std::size_t notTaken_ = 0;          // The size of waiting_ after the last flush().
   std::size_t dropped_ = 0;           // Number of lines since the journal last took everything.
};

} // namespace Ufdd
