#pragma once

#include "agent/base/Log.h"

#include <deque>
#include <string>

namespace Ufdd {

// A log in the systemd journal. Besides its text, a line has the fields UFD_GROUP, UFD_PORT and
// MESSAGE_ID, as far as it is about one.
class JournalLog final : public BufferedLog {
 public:
   static constexpr char const* usualSocket = "/run/systemd/journal/socket";

   // Whether standard error is the journal, and so whoever started us wants the log to be there.
   static bool isWanted();

   // Throws: std::system_error when no socket can be made.
   explicit JournalLog( std::string socket = usualSocket );
   ~JournalLog() override;
   JournalLog( JournalLog const& ) = delete;
   JournalLog& operator=( JournalLog const& ) = delete;

   void line( std::string_view text ) override { event( {}, text ); }
   void event( LogEvent const& event, std::string_view text ) override;
   bool flush() override;

 private:
   // Lines that it did not take yet. Of what there is to say in one turn of the loop, nothing is
   // dropped for its length.
   static constexpr std::size_t maxWaiting = 512;

   // Sends what waits; false when the journal takes no more for now.
   bool send();

   std::string const socket_;
   int const fd_;
   std::deque< std::string > waiting_; // A message each, as the journal takes it.
   std::size_t notTaken_ = 0;          // Of these, by the last flush().
   std::size_t dropped_ = 0;
};

} // namespace Ufdd
