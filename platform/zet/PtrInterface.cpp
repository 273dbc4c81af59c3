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

// The top byte of a nondestructing object's word is taken; its flags stand this much lower.
constexpr unsigned int loweredBy = 8;
constexpr std::uint32_t loweredCountMask = 0x001fffff;
constexpr std::uint32_t flagsMask = 0xe0000000;

} // namespace

void
assertionFailed( char const* promise ) noexcept {
   std::fprintf( stderr, "broken promise: %s\n", promise );
   std::abort();
}

PtrInterface::~PtrInterface() {
   forgetRawPtrStrep( this );
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

bool
PtrInterface::flag( std::uint32_t bit ) const noexcept {
   std::uint32_t const word = word_.load( std::memory_order_relaxed );
   return ( word & ( isNondestructing( word ) ? bit >> loweredBy : bit ) ) != 0;
}

void
PtrInterface::flagIs( std::uint32_t bit, bool on ) noexcept {
   std::uint32_t const word = word_.load( std::memory_order_relaxed );
   std::uint32_t const place = isNondestructing( word ) ? bit >> loweredBy : bit;
   // As counting is.
   if ( !countsAreShared() )
      word_.store( on ? word | place : word & ~place, std::memory_order_relaxed );
   else if ( on )
      word_.fetch_or( place, std::memory_order_relaxed );
   else
      word_.fetch_and( ~place, std::memory_order_relaxed );
}

void
PtrInterface::handleLastReference( std::uint32_t before ) const noexcept {
   require( ( before & countMask ) != 0, "a reference is dropped once" );
   if ( ( before & destroyingFlag ) == 0 )
      const_cast< PtrInterface* >( this )->handleZeroRef();
}

void
PtrInterface::handleZeroRef() noexcept {
   flagIs( destroyingFlag, true );
   try {
      zeroReferencesIs( true );
   } catch ( ... ) {
      // References are dropped in destructors, where nothing may be thrown on.
      handleNotificationFailure( *this, zeroReferencesAttributeId );
   }
   if ( references() != 0 ) {
      flagIs( destroyingFlag, false );
      return;
   }
   delete this;
}

} // namespace Zet
