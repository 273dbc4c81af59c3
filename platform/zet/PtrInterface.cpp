#include "platform/zet/PtrInterface.h"

#include "platform/zet/Assert.h"
#include "platform/zet/NotificationFailure.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/Strep.h"
#include "platform/zet/ZetType.h"

#include <cstdio>
#include <cstdlib>

namespace Zet {

namespace {

constexpr std::uint32_t loweredCountMask = 0x001fffff;
constexpr std::uint32_t flagsMask = 0xe0000000;

} // namespace

void
assertionFailed( char const* promise ) noexcept {
   std::fprintf( stderr, "broken promise: %s\n", promise );
   std::abort();
}

void
PtrInterface::hasNotificationActiveIs( bool active ) {
   notificationActiveFlagIs( active );
}

unsigned int
PtrInterface::zetAuditErrors( unsigned int ) const {
   return references() == 0 && !flag( destroyingFlag ) ? 1 : 0;
}

unsigned int
PtrInterface::auditErrors( unsigned int ) const {
   return 0;
}

void
PtrInterface::isNondestructingIs( bool nondestructing ) {
   std::uint32_t word = word_.load( std::memory_order_relaxed );
   if ( nondestructing == isNondestructing( word ) )
      return;
   std::uint32_t changed;
   do {
      if ( nondestructing ) {
         require( ( word & countMask ) <= loweredCountMask,
                  "a nondestructing object has at most 2^21 - 1 references" );
         changed =
             nondestructingByte | ( word & flagsMask ) >> loweredBy | ( word & loweredCountMask );
      } else {
         changed = ( word & flagsMask >> loweredBy ) << loweredBy | ( word & loweredCountMask );
      }
   } while ( !word_.compare_exchange_weak( word, changed, std::memory_order_relaxed ) );
}

void
PtrInterface::zeroReferencesIs( bool ) {}

Ptr< ZetType const >
PtrInterface::fwkType() const {
   return _fwkType();
}

Ptr< ZetType const >
PtrInterface::_fwkType() {
   static ZetType const& type = ZetType::ZetTypeIs( "Zet", "PtrInterface", nullptr );
   return &type;
}

void
PtrInterface::flagIs( std::uint32_t bit, bool on ) noexcept {
   std::uint32_t const word = word_.load( std::memory_order_relaxed );
   bitIs( isNondestructing( word ) ? bit >> loweredBy : bit, on );
}

void
PtrInterface::bitIs( std::uint32_t bit, bool on ) noexcept {
   std::uint32_t const word = word_.load( std::memory_order_relaxed );
   // Atomic when counting is: the change of a thread that counts meanwhile must not be lost.
   if ( !countsAreShared() )
      word_.store( on ? word | bit : word & ~bit, std::memory_order_relaxed );
   else if ( on )
      word_.fetch_or( bit, std::memory_order_relaxed );
   else
      word_.fetch_and( ~bit, std::memory_order_relaxed );
}

void
PtrInterface::handleLastReference( std::uint32_t before ) const noexcept {
   require( ( before & countMask ) != 0, "a reference is dropped once" );
   if ( ( before & destroyingFlag ) != 0 )
      return;
   auto* const self = const_cast< PtrInterface* >( this );
   // Not flagIs(): a nondestructing object never comes here, so the flags are in their own bits.
   self->bitIs( destroyingFlag, true );
   try {
      self->zeroReferencesIs( true );
   } catch ( ... ) {
      // References are dropped in destructors, which must not throw.
      handleNotificationFailure( *this, zeroReferencesAttributeId );
   }
   // A handler may have kept a reference, or made the object nondestructing.
   if ( references() != 0 ) [[unlikely]]
      self->flagIs( destroyingFlag, false );
   else
      delete self;
}

} // namespace Zet
