#include "agent/status/StatusReplica.h"

#include "adapters/attrlog/StatusLog.h"

namespace Ufdd {

using UplinkFailureDetection::Status;
using Zet::NboAttrLog::Demuxer;

StatusReplica::StatusReplica( Side side )
    : side_( side ), directory_( Zet::make< Zet::Dir >( "ufdd" ) ),
      status_( UplinkFailureDetection::statusFactory( "status" ) ) {
   begin();
}

StatusReplica::~StatusReplica() {
   demuxer_->rootsIs( nullptr );
}

void
StatusReplica::begin() {
   Zet::String8 const type = Status::_fwkType()->fullName();
   directory_->entryIs( status_ ).stateIs( 0 );
   demuxer_ = Demuxer::DemuxerIs( side_, 0 );
   demuxer_->rootsIs( this );
   // An entity that the peer made nondestructing would stay in our memory for good.
   demuxer_->peerSetsNondestructingIs( false );
   demuxer_->in()->expectedTypeIs( type );
   demuxer_->out()->helloIs( Zet::TypeId( type.view() ) );
}

bool
StatusReplica::isInStep() const {
   return directory_->entry( status_->name() )->state() == Zet::Dir::Entry::inStep;
}

Zet::Ptr< Zet::Entity >
StatusReplica::root( Zet::TypeId, Zet::Name const& name ) {
   return name == status_->name() ? status_ : nullptr;
}

} // namespace Ufdd
