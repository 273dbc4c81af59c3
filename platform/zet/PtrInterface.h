#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/ReferenceCount.h"

#include <atomic>
#include <cstdint>

namespace Zet {

class PtrInterface;
class ZetType;
template < class T > class Ptr;

// An object's destructor calls this: its text is not to read back as whatever comes to lie there.
ZET_EXPORT void forgetRawPtrStrep( PtrInterface const* object ) noexcept;
// Spares the call while no text has been given out.
ZET_EXPORT extern bool anyRawPtrStrep;

// The counted base of every object: entities, notifiees, state machines, collection members.
// Objects live on the heap and are held through Ptr; the last reference to go destroys them.
class ZET_EXPORT PtrInterface {
 public:
   class NotifieeConst;

   PtrInterface( PtrInterface const& ) = delete;
   PtrInterface& operator=( PtrInterface const& ) = delete;

   // Turns delivery of notifications on or off for the object and what it is made of.
   virtual void hasNotificationActiveIs( bool active );
   // How many of the runtime's, and of the object's own, invariants are broken: 0 when sound.
   virtual unsigned int zetAuditErrors( unsigned int level ) const;
   virtual unsigned int auditErrors( unsigned int level ) const;
   // A nondestructing object is not counted and lives until it is made destructing again, which
   // restores the count that it had.
   // Requires: as many references exist when it is made destructing as when it ceased to be.
   virtual void isNondestructingIs( bool nondestructing );
   // Called once the last reference has gone, before the object is destroyed. A handler that
   // keeps a new reference keeps the object.
   virtual void zeroReferencesIs( bool );
   virtual Ptr< ZetType const > fwkType() const;

 protected:
   PtrInterface() = default;
   // For a notifiee, which is active from the start.
   explicit PtrInterface( bool notificationActive )
       : word_( notificationActive ? 1 | notificationActiveFlag : 1 ) {}
   virtual ~PtrInterface() {
      if ( anyRawPtrStrep ) [[unlikely]]
         forgetRawPtrStrep( this );
   }

 public:
   static Ptr< ZetType const > _fwkType();

   bool hasNotificationActive() const noexcept { return flag( notificationActiveFlag ); }
   bool isNondestructing() const noexcept {
      return isNondestructing( word_.load( std::memory_order_relaxed ) );
   }
   // A zombie is about to be destroyed and ignores what it is told.
   bool zetMarkedForDeletion() const noexcept { return flag( zombieFlag ); }
   void zetMarkedForDeletionIs( bool marked ) noexcept { flagIs( zombieFlag, marked ); }
   // How many references are held. A nondestructing object has no count: this is a number above 500
   // million then, so that no reference to it looks like the last one.
   std::uint32_t references() const noexcept {
      return word_.load( std::memory_order_relaxed ) & countMask;
   }

 protected:
   // Whether it is held once, and its flags are those that a notifiee is made with.
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
   // Stands for one more reference, so that references taken and dropped while the object is
   // being destroyed do not destroy it again.
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

   // The top byte of a nondestructing object's word is taken; its flags stand this much lower.
   static constexpr unsigned int loweredBy = 8;

   bool flag( std::uint32_t bit ) const noexcept {
      std::uint32_t const word = word_.load( std::memory_order_relaxed );
      return ( word & ( isNondestructing( word ) ? bit >> loweredBy : bit ) ) != 0;
   }
   void flagIs( std::uint32_t bit, bool on ) noexcept;
   void bitIs( std::uint32_t bit, bool on ) noexcept;

   // Bits 0 to 28 the count, 29 to 31 the flags above.
   mutable std::atomic< std::uint32_t > word_ = 1;
};

} // namespace Zet
