#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// What a line is about, for programs that read the log.
struct LogEvent {
   enum Id {
      other,
      groupTransition, // The group's state changed.
      groupDecision,   // What is done about that was put off, or only would have been done.
      portShut,
      portReleased,
      portFailure,   // It can't be shut or released.
      configuration, // A configuration was loaded or refused.
      trouble,       // Something failed, but ufdd goes on.
      fault,         // ufdd ends for it, or it is an error of its own.
   };
   Id id = other;
   std::vector< std::string_view > groups = {};
   std::string_view port = {}; // Empty when it is about none.
};

// Where the daemon says what it does, a line at a time.
class Log {
 public:
   virtual ~Log() = default;
   // `text` ends without a line break.
   virtual void line( std::string_view text ) = 0;
   // The same, with what it is about.
   virtual void event( LogEvent const&, std::string_view text ) { line( text ); }
};

// A log whose lines wait until flush(), so that nothing urgent waits for them; and flush() never
// waits for a reader that is stuck: what doesn't fit is dropped and counted.
class BufferedLog : public Log {
 public:
   // False when something waits still: it is to be called again.
   virtual bool flush() = 0;
};

// A log on a file descriptor.
class StreamLog final : public BufferedLog {
 public:
   // With `timed`, each line begins with the time of day.
   StreamLog( int fd, bool timed ) : fd_( fd ), timed_( timed ) {}

   void line( std::string_view text ) override;
   bool flush() override;

 private:
   // Bytes that were not read yet. Of what there is to say in one turn of the loop, nothing is
   // dropped for its length.
   static constexpr std::size_t maxWaiting = 1 << 16;

   struct Line {
      double time;
      std::string text;
   };

   void write();

   int const fd_;
   bool const timed_;
   std::vector< Line > lines_; // Since the last flush(), which writes out their times.
   std::string waiting_;
   std::size_t dropped_ = 0; // Lines, since the last that got through.
};

} // namespace Ufdd
