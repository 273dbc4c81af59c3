#include "sm/UplinkFailureDetectionGroupSm.h"
#include "tests/support/Entities.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Tests;

namespace {

using Slots = std::vector< std::ptrdiff_t >;

// The place of an operation in the table of virtual operations: a pointer to it begins with its
// offset in bytes plus one. An operation that is not virtual has no odd offset.
template < class Operation >
std::ptrdiff_t
slotOf( Operation operation ) {
   std::ptrdiff_t words[ 2 ];
   static_assert( sizeof words == sizeof operation );
   std::memcpy( words, &operation, sizeof words );
   return words[ 0 ] % 2 == 1 ? words[ 0 ] / static_cast< std::ptrdiff_t >( sizeof( void* ) ) : -1;
}

template < class... Operation >
void
expectSlots( std::ptrdiff_t first, Operation... operation ) {
   Slots const slots{ slotOf( operation )... };
   Slots expected;
   for ( std::size_t place = 0; place < slots.size(); ++place )
      expected.push_back( first + static_cast< std::ptrdiff_t >( place ) );
   EXPECT_EQ( slots, expected );
}

template < class N > using Plain = void ( N::* )();
template < class N, class Key > using Keyed = void ( N::* )( Key );

// The destructor has two slots, the sixth and the seventh.
constexpr std::ptrdiff_t afterDestructor = 8;
constexpr std::ptrdiff_t firstEntityHandler = 31;

TEST( SlotOrder, runtime ) {
   using P = Zet::PtrInterface;
   expectSlots( 0, &P::hasNotificationActiveIs, &P::zetAuditErrors, &P::auditErrors,
                &P::isNondestructingIs, &P::zeroReferencesIs, &P::fwkType );
   using N = P::NotifieeConst;
   using Zet::ActivityConfig;
   using Zet::Ptr;
   expectSlots(
       afterDestructor, &N::zetReactor, &N::zetRawReactor, &N::isStreamAdapter,
       &N::isRegisteredNotifieeIs, &N::zet_bitSetIs, &N::name, &N::notifierIs,
       &N::handleNotification, &N::handleDefault, &N::onAttribute, &N::onNotification,
       &N::onCollectionNotification, Plain< N >( &N::onNotificationException ),
       Keyed< N, Zet::AttributeId >( &N::onNotificationException ),
       Keyed< N, Zet::AttributeId >( &N::handleNotificationException ),
       Plain< N >( &N::handleNotificationException ), &N::onZeroReferences, &N::activityPtr,
       static_cast< Ptr< ActivityConfig > ( N::* )() >( &N::zetFwkActivity ),
       static_cast< Ptr< ActivityConfig const > ( N::* )() const >( &N::zetFwkActivity ), &N::actsm,
       &Zet::Entity::NotifieeConst::onParent, &Zet::Entity::NotifieeConst::onVersion );
   using E = Zet::Entity;
   using Adapter = Ptr< E::ZetNboAttrLogSa >;
   using Out = Zet::NboAttrLog::Out const;
   expectSlots( afterDestructor, &E::name,
                static_cast< Ptr< E const > ( E::* )() const >( &E::parent ),
                static_cast< Ptr< E > ( E::* )() >( &E::parent ), &E::parentIs, &E::parentAttr,
                &E::parentAttrId, &E::parentAttrIdIs, &E::uriPath, &E::fullName,
                &E::attributeString, &E::zetNotifieeAdapterIs, &E::handleParent,
                static_cast< Adapter ( E::* )( Ptr< Out > const& ) const >( &E::zetNboAttrLogSa ),
                &E::zetHasAttrLogInterface,
                static_cast< Adapter ( E::* )( Ptr< Out > const& ) >( &E::zetNboAttrLogSa ),
                &E::zetNboAttrLogSaForMsgChannel, &E::zetNboAttrLogSaIs, &E::zetNboAttrLogSaDel );
}

template < class N >
void
expectGroupHandlers() {
   expectSlots( firstEntityHandler, &N::onIsNondestructing, Keyed< N, Zet::Name >( &N::onGroup ),
                &N::onGroupzetImmediate, Plain< N >( &N::onGroup ) );
}

TEST( SlotOrder, handlers ) {
   using G = Ufd::GroupConfig::NotifieeConst;
   expectSlots(
       firstEntityHandler, &G::onIsNondestructing,
       Keyed< G, Kelnet::IntfId >( &G::onIntfsToMonitor ), &G::onIntfsToMonitorzetImmediate,
       Plain< G >( &G::onIntfsToMonitor ), Keyed< G, Kelnet::IntfId >( &G::onIntfsToDisable ),
       &G::onIntfsToDisablezetImmediate, Plain< G >( &G::onIntfsToDisable ), &G::onMinLinks );
   using S = Ufd::GroupStatus::NotifieeConst;
   expectSlots( firstEntityHandler, &S::onIsNondestructing, &S::onGroupLinkStatus,
                &S::onNumTimesDisabled, &S::onPrevDisabledTime );
   expectGroupHandlers< Ufd::Config::NotifieeConst >();
   expectGroupHandlers< Ufd::Status::NotifieeConst >();
   using R = Ufd::Root::NotifieeConst;
   expectSlots( firstEntityHandler, &R::onIsNondestructing, &R::onUplinkFailureDetectionSm );
   // Writers have no slots more, reactors one, behind all others.
   expectSlots( 38, &Ufd::GroupConfig::Notifiee::onMinLinks,
                &Ufd::UplinkFailureDetectionGroupSm::ZetGroupConfig::zetDoZombieReactors );
   expectSlots( 34, Plain< Ufd::Config::NotifieeConst >( &Ufd::Config::Notifiee::onGroup ),
                &Ufd::UplinkFailureDetectionSm::ZetConfig::zetDoZombieReactors );
   expectSlots( afterDestructor, &Ufd::UplinkFailureDetectionGroupSm::zetDoZombieReactors );
}

} // namespace
