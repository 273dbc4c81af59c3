#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/ObjectPool.h"
#include "platform/zet/ReferenceCount.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Zet {

class PtrInterface;
class ZetType;
template < class T > class Ptr;

// Forgets the object's text, so that the text never names another object at the same address.
// Called by the object's destructor.
ZET_EXPORT void forgetRawPtrStrep( PtrInterface const* object ) noexcept;
// False while no text has been given out: forgetRawPtrStrep() need not be called then.
ZET_EXPORT extern bool anyRawPtrStrep;

// The counted base of every object: entities, notifiees, state machines, collection members.
// Objects live on the heap and are held through Ptr. The object is destroyed when its last
// reference goes.
class ZET_EXPORT PtrInterface {
 public:
   class NotifieeConst;

   PtrInterface( PtrInterface const& ) = delete;
   PtrInterface& operator=( PtrInterface const& ) = delete;

   // Turns delivery of notifications on or off, for the object and its parts.
   virtual void hasNotificationActiveIs( bool active );
   // Return the number of broken invariants, the runtime's or the object's own: 0 when sound.
   virtual unsigned int zetAuditErrors( unsigned int level ) const;
   virtual unsigned int auditErrors( unsigned int level ) const;
   // Makes the object nondestructing, or destructing again. A nondestructing object is not counted
   // and lives on. Making it destructing again restores its former count.
   // Requires: as many references exist when it is made destructing as when it became
   // nondestructing.
   virtual void isNondestructingIs( bool nondestructing );
   // Called once the last reference has gone, before the object is destroyed. A handler that
   // keeps a new reference keeps the object.
   virtual void zeroReferencesIs( bool );
   virtual Ptr< ZetType const > fwkType() const;

 protected:
   PtrInterface() = default;
   // Makes a notifiee, which is active from the start.
   explicit PtrInterface( bool notificationActive )
       : word_( notificationActive ? 1 | notificationActiveFlag : 1 ) {}
   virtual ~PtrInterface() {
      if ( anyRawPtrStrep ) [[unlikely]]
         forgetRawPtrStrep( this );
   }

 public:
   // Objects are small and many.
   static void* operator new( std::size_t bytes ) { return objectPoolNew( bytes ); }
   static void operator delete( void* object, std::size_t bytes ) noexcept {
      objectPoolDelete( object, bytes );
   }

   static Ptr< ZetType const > _fwkType();

   bool hasNotificationActive() const noexcept { return flag( notificationActiveFlag ); }
   bool isNondestructing() const noexcept {
      return isNondestructing( word_.load( std::memory_order_relaxed ) );
   }
   // Returns true for a zombie, which is about to be destroyed and ignores notifications.
   bool zetMarkedForDeletion() const noexcept { return flag( zombieFlag ); }
   void zetMarkedForDeletionIs( bool marked ) noexcept { flagIs( zombieFlag, marked ); }
   // Returns how many references are held. A nondestructing object has no count. For such an object
   // the result is above 500 million, so that no reference looks like the last one.
   std::uint32_t references() const noexcept {
      return word_.load( std::memory_order_relaxed ) & countMask;
   }

 protected:
   // Returns true if the object is held once and its flags are those of a new notifiee.
   bool isHeldOnceAsMade() const noexcept {
      return word_.load( std::memory_order_relaxed ) == ( 1 | notificationActiveFlag );
   }
   void notificationActiveFlagIs( bool active ) noexcept {
      flagIs( notificationActiveFlag, active );
   }

 private:
   template < class T > friend class Ptr;

   static constexpr std::uint32_t countMask = 0x1fffffff;
   static constexpr std::uint32_t notificationActiveFlag = 0x20000000;
   // Counts as one more reference. References that are taken and dropped during destruction must
   // not destroy the object again.
   static constexpr std::uint32_t destroyingFlag = 0x40000000;
   static constexpr std::uint32_t zombieFlag = 0x80000000;
   static constexpr std::uint32_t topByte = 0xff000000;
   static constexpr std::uint32_t nondestructingByte = 0x1f000000;

   static bool isNondestructing( std::uint32_t word ) noexcept {
      return ( word & topByte ) == nondestructingByte;
   }

   [[gnu::always_inline]] void referenceAdd() const noexcept {
      if ( !isNondestructing( word_.load( std::memory_order_relaxed ) ) )
         countUp( word_ );
   }
   [[gnu::always_inline]] void referenceDrop() const noexcept {
      if ( isNondestructing( word_.load( std::memory_order_relaxed ) ) )
         return;
      std::uint32_t const before = countDown( word_ );
      if ( ( before & countMask ) <= 1 ) [[unlikely]]
         handleLastReference( before );
   }
   void handleLastReference( std::uint32_t before ) const noexcept;

   // The top byte of a nondestructing object's word is taken. The object's flags stand this many
   // bits lower.
   static constexpr unsigned int loweredBy = 8;

   bool flag( std::uint32_t bit ) const noexcept {
      std::uint32_t const word = word_.load( std::memory_order_relaxed );
      return ( word & ( isNondestructing( word ) ? bit >> loweredBy : bit ) ) != 0;
   }
   void flagIs( std::uint32_t bit, bool on ) noexcept;
   void bitIs( std::uint32_t bit, bool on ) noexcept;

   // Bits 0 to 28 are the count, bits 29 to 31 the flags above.
   mutable std::atomic< std::uint32_t > word_ = 1;
};

} // namespace Zet
