#pragma once

#include <deque>
#include <exception>

struct sd_event;
struct sd_event_source;

namespace Ufdd {

// The one loop of the process. A handler is a member function without parameters, given as
// loop.onReadable< &Owner::handler >( fd, owner ); the owner lives as long as the loop.
// An exception that leaves a handler ends the loop and comes out of run().
class EventLoop {
 public:
   // What a handler was added for.
   class Source {
    public:
      // Makes a timer fire once, not before that time on the clock of Zet::now(); at once when it
      // is over. Requires: the source is a timer.
      void fireAt( double time );

    private:
      friend class EventLoop;
      Source( EventLoop& loop, void* owner, void ( *call )( void* ) )
          : loop_( loop ), owner_( owner ), call_( call ) {}
      void run() noexcept;

      EventLoop& loop_;
      void* owner_;
      void ( *call_ )( void* );
      sd_event_source* source_ = nullptr;
   };

   // Throws: std::system_error, as every operation that adds a handler does.
   EventLoop();
   ~EventLoop();
   EventLoop( EventLoop const& ) = delete;
   EventLoop& operator=( EventLoop const& ) = delete;

   template < auto Handler, class Owner > void onReadable( int fd, Owner& owner ) {
      addReadable( fd, source< Handler >( owner ), Urgency::usual );
   }
   // Called only when nothing else waits.
   template < auto Handler, class Owner > void onReadableAtLeisure( int fd, Owner& owner ) {
      addReadable( fd, source< Handler >( owner ), Urgency::atLeisure );
   }
   // From now on the signal does nothing else.
   template < auto Handler, class Owner > void onSignal( int number, Owner& owner ) {
      addSignal( number, source< Handler >( owner ) );
   }
   // Called whenever another handler has run, before the next one runs; not after exit(). There is
   // one at most.
   template < auto Handler, class Owner > void onTurnEnd( Owner& owner ) {
      turnEnd_ = &source< Handler >( owner );
   }
   // A timer that is off. Valid until: the loop goes.
   template < auto Handler, class Owner > Source& timer( Owner& owner ) {
      return addTimer( source< Handler >( owner ) );
   }

   // Until exit() is called.
   void run();
   void exit();

 private:
   enum class Urgency { usual, atLeisure };

   template < auto Handler, class Owner > Source& source( Owner& owner ) {
      auto const call = []( void* object ) { ( static_cast< Owner* >( object )->*Handler )(); };
      return sources_.emplace_back( Source( *this, &owner, call ) );
   }
   void addReadable( int fd, Source& source, Urgency urgency );
   void addSignal( int number, Source& source );
   Source& addTimer( Source& source );

   sd_event* event_ = nullptr;
   std::deque< Source > sources_; // The loop's C interface holds their addresses.
   Source* turnEnd_ = nullptr;
   bool isLeaving_ = false;
   std::exception_ptr failure_;
};

} // namespace Ufdd
