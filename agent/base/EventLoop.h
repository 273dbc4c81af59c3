#pragma once

#include <deque>
#include <exception>
#include <type_traits>

struct sd_event;
struct sd_event_source;

namespace Ufdd {

// The one event loop of the process. A handler is a member function without parameters, given as
// loop.onReadable< &Owner::handler >( fd, owner ). The owner must live as long as the loop.
// A handler that returns false has changed nothing: its turn has no end (onTurnEnd).
// An exception that leaves a handler ends the loop; run() throws it.
class EventLoop {
 public:
   // A file descriptor, signal or timer, with its handler.
   class Source {
    public:
      // Makes a timer fire once, not before `time` on the clock of Zet::now(). If `time` has
      // passed, the timer fires at once. Requires: the source is a timer.
      void fireAt( double time );

    private:
      friend class EventLoop;
      Source( EventLoop& loop, void* owner, bool ( *call )( void* ) )
          : loop_( loop ), owner_( owner ), call_( call ) {}
      void run() noexcept;

      EventLoop& loop_;
      void* owner_;
      bool ( *call_ )( void* );
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
   // Adds a handler that is called only when no other handler is due.
   template < auto Handler, class Owner > void onReadableAtLeisure( int fd, Owner& owner ) {
      addReadable( fd, source< Handler >( owner ), Urgency::atLeisure );
   }
   // Adds a handler for a signal, and blocks the signal's usual effect.
   template < auto Handler, class Owner > void onSignal( int number, Owner& owner ) {
      addSignal( number, source< Handler >( owner ) );
   }
   // Sets the handler that ends each turn: it is called after every other handler, unless that
   // returned false or called exit(). Replaces the former one.
   template < auto Handler, class Owner > void onTurnEnd( Owner& owner ) {
      turnEnd_ = &source< Handler >( owner );
   }
   // Adds a timer, which is off at first. Valid until: the loop is destroyed.
   template < auto Handler, class Owner > Source& timer( Owner& owner ) {
      return addTimer( source< Handler >( owner ) );
   }

   // Calls handlers until exit() is called.
   void run();
   void exit();

 private:
   enum class Urgency { usual, atLeisure };

   template < auto Handler, class Owner > Source& source( Owner& owner ) {
      auto const call = []( void* object ) {
         auto& self = *static_cast< Owner* >( object );
         if constexpr ( std::is_void_v< decltype( ( self.*Handler )() ) > )
            return ( self.*Handler )(), true;
         else
            return ( self.*Handler )();
      };
      return sources_.emplace_back( Source( *this, &owner, call ) );
   }
   void addReadable( int fd, Source& source, Urgency urgency );
   void addSignal( int number, Source& source );
   Source& addTimer( Source& source );

   sd_event* event_ = nullptr;
   std::deque< Source > sources_; // In a deque, since event_ keeps their addresses.
   Source* turnEnd_ = nullptr;
   bool isLeaving_ = false;
   std::exception_ptr failure_;
};

} // namespace Ufdd
