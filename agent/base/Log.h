#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// The subject of a line, for programs that read the log.
struct LogEvent {
   enum Id {
      other,
      groupTransition, // The group's state changed.
      groupDecision,   // The decision about it is delayed, or was not acted on (dry_run).
      portShut,
      portOpened,
      portFailure,   // A port can't be shut or opened.
      configuration, // A configuration was loaded or refused.
      trouble,       // Something failed, but ufdd goes on.
      fault,         // ufdd ends because of it, or it is an error in ufdd.
      groupAlarm,    // The group can't do what it is for: uplinks or ports do not exist.
      order,         // An operator ordered something, or an order stands or is over.
      uplinkCheck,   // A check has passed or failed, begun or ended.
      checkAlarm,    // All checks fail at once.
   };
   Id id = other;
   std::vector< std::string_view > groups = {};
   std::string_view port = {}; // Empty if the line is about no port.
};

// Takes the lines in which the daemon says what it does.
class Log {
 public:
   virtual ~Log() = default;
   // Adds a line. `text` has no final line break.
   virtual void line( std::string_view text ) = 0;
   // Adds a line about that subject.
   virtual void event( LogEvent const&, std::string_view text ) { line( text ); }
};

// Returns the level of a line about that, as syslog numbers it: 3 for an error, 6 for information.
std::size_t syslogLevelOf( LogEvent::Id id ) noexcept;
// The names of all levels, by their numbers.
inline constexpr std::array< char const*, 8 > syslogLevels{
   "emerg", "alert", "crit", "err", "warning", "notice", "info", "debug",
};

// A log that keeps its lines until flush(), so that nothing urgent waits for the log. flush() does
// not wait for a reader that is stuck. Lines without room are dropped and counted.
class BufferedLog : public Log {
 public:
   void line( std::string_view text ) final { event( {}, text ); }
   void event( LogEvent const& event, std::string_view text ) final {
      ++( take( event, text ) ? counts_.lines[ syslogLevelOf( event.id ) ] : counts_.dropped );
   }
   // The lines so far: those that were taken, by their levels, and those that were dropped.
   struct Counts {
      std::array< unsigned int, syslogLevels.size() > lines{};
      unsigned int dropped = 0;
   };
   Counts const& counts() const noexcept { return counts_; }
   // Writes the lines. Returns false if some are left: call it again later.
   virtual bool flush() = 0;

 private:
   // Keeps the line. Returns false if there is no room.
   virtual bool take( LogEvent const& event, std::string_view text ) = 0;

   Counts counts_;
};

// A log that writes to a file descriptor.
class StreamLog final : public BufferedLog {
 public:
   // If `timed`, each line begins with the local date and time.
   StreamLog( int fd, bool timed ) : fd_( fd ), timed_( timed ) {}

   bool flush() override;

 private:
   // In bytes: new lines are dropped while the last flush() has left more than this. Lines of one
   // turn are never dropped because they are many.
   static constexpr std::size_t maxWaiting = 1 << 16;

   struct Line {
      double time;
      std::string text;
   };

   bool take( LogEvent const&, std::string_view text ) override;
   void write();

   int const fd_;
   bool const timed_;
   std::vector< Line > lines_; // Since the last flush(), which formats them.
   std::string waiting_;       // Bytes that the last flush() could not write.
   std::size_t dropped_ = 0;   // Number of lines since everything was last written.
};

} // namespace Ufdd
