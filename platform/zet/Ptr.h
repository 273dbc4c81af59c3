#pragma once

#include "platform/zet/Exception.h"
#include "platform/zet/PtrInterface.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace Zet {

// The counted pointer, of one word. A copy costs one addition; ReferenceCount.h says when it is
// atomic. T derives from PtrInterface and may be const.
template < class T > class Ptr {
 public:
   constexpr Ptr() noexcept = default;
   constexpr Ptr( std::nullptr_t ) noexcept {}
   Ptr( T* object ) noexcept : object_( object ) { add(); }
   Ptr( Ptr const& other ) noexcept : object_( other.object_ ) { add(); }
   Ptr( Ptr&& other ) noexcept : object_( std::exchange( other.object_, nullptr ) ) {}
   template < class U >
   requires std::is_convertible_v< U*, T* > Ptr( Ptr< U > const& other )
   noexcept : object_( other.get() ) { add(); }
   template < class U >
   requires std::is_convertible_v< U*, T* > Ptr( Ptr< U >&& other )
   noexcept : object_( std::exchange( other.object_, nullptr ) ) {}
   // Inlined even where it hardly ever runs: a call would need the pointer to be in memory.
   [[gnu::always_inline]] ~Ptr() {
      if ( object_ )
         base( object_ )->referenceDrop();
   }

   Ptr& operator=( Ptr other ) noexcept {
      std::swap( object_, other.object_ );
      return *this;
   }

   // Takes over the one reference that a new object starts with.
   static Ptr adopt( T* object ) noexcept {
      Ptr result;
      result.object_ = object;
      return result;
   }

   // Becomes null and returns the object with its reference, for the caller to adopt.
   T* release() noexcept { return std::exchange( object_, nullptr ); }

   T* get() const noexcept { return object_; }
   T* operator->() const noexcept { return object_; }
   T& operator*() const noexcept { return *object_; }
   explicit operator bool() const noexcept { return object_ != nullptr; }

   template < class U > bool operator==( Ptr< U > const& other ) const noexcept {
      return object_ == other.get();
   }
   template < class U > bool operator==( U* other ) const noexcept { return object_ == other; }
   bool operator==( std::nullptr_t ) const noexcept { return object_ == nullptr; }

 private:
   template < class U > friend class Ptr;

   void add() const noexcept {
      if ( object_ )
         base( object_ )->referenceAdd();
   }
   static PtrInterface const* base( T* object ) noexcept { return object; }

   T* object_ = nullptr;
};

// Returns a new T. The result holds the only reference: a notifiee that is not kept is destroyed
// before it hears anything.
template < class T, class... Argument >
[[nodiscard]] Ptr< T >
make( Argument&&... argument ) {
   return Ptr< T >::adopt( new T( std::forward< Argument >( argument )... ) );
}

// Returns the same object as a T; null when it is no T.
template < class T, class U >
Ptr< T >
ptrCast( Ptr< U > const& object ) {
   return dynamic_cast< T* >( object.get() );
}

// Returns `object`. Throws: RangeException "null ValidPtr" when it is null.
template < class T >
Ptr< T >
validPtr( Ptr< T > object ) {
   if ( !object )
      throwRangeException( "null ValidPtr" );
   return object;
}

} // namespace Zet
