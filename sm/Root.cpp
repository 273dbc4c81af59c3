#include "sm/Root.h"

#include "platform/zet/Assert.h"
#include "platform/zet/NotificationFailure.h"

#include <utility>

namespace UplinkFailureDetection {

Root::~Root() {
   try {
      uplinkFailureDetectionSmDel();
   } catch ( ... ) {
      // A destructor can't rethrow the exception of an observer that was told of a failure.
      Zet::handleNotificationFailure( *this,
                                      Notify::rowOf< Root, &Root::uplinkFailureDetectionSm >().id );
   }
   notifiees_.deleteAll();
}

Zet::Ptr< UplinkFailureDetectionSm >
Root::uplinkFailureDetectionSmIs(
    Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir ) {
   Zet::require( config && status && causeStatus && ethIntfStatusDir,
                 "detection runs on a configuration, a status, a cause status and a directory" );
   if ( sm_ && config == sm_->config() && status == sm_->status() &&
        causeStatus == sm_->causeStatus() && ethIntfStatusDir == sm_->ethIntfStatusDir() )
      return sm_;
   // An observer of the new machine's writes may drop this root. The root then goes on return.
   Zet::Ptr< Root > self( this );
   auto const sm = newUplinkFailureDetectionSm( config, status, causeStatus, ethIntfStatusDir );
   sm_ = sm;
   if ( references() == 1 )
      return sm;
   self = nullptr;
   notify< &Root::uplinkFailureDetectionSm >();
   sm->hasNotificationActiveIs( true );
   return Zet::validPtr( sm );
}

Zet::Ptr< UplinkFailureDetectionSm >
Root::newUplinkFailureDetectionSm(
    Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
    Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
    Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir ) {
   return UplinkFailureDetectionSm::UplinkFailureDetectionSmIs( config, status, causeStatus,
                                                                ethIntfStatusDir );
}

Zet::Ptr< UplinkFailureDetectionSm >
Root::uplinkFailureDetectionSmDel() {
   if ( !sm_ )
      return nullptr;
   auto const sm = std::exchange( sm_, nullptr );
   notify< &Root::uplinkFailureDetectionSm >();
   return sm;
}

Zet::Ptr< Root >
rootFactory( Zet::Name name ) {
   return Zet::validPtr( Zet::make< Root >( std::move( name ) ) );
}

} // namespace UplinkFailureDetection
