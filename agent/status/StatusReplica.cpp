#include "agent/status/StatusReplica.h"

#include "adapters/attrlog/ConfigLog.h"
#include "adapters/attrlog/StatusLog.h"

#include <algorithm>

namespace Ufdd {

using Zet::NboAttrLog::Demuxer;

StatusReplica::StatusReplica( Side side )
    : side_( side ), directory_( Zet::make< Zet::Dir >( "ufdd" ) ), roots_( StatusRoots::make() ) {
   begin();
}

StatusReplica::~StatusReplica() {
   demuxer_->rootsIs( nullptr );
}

void
StatusReplica::begin() {
   for ( auto const& root : roots_.all() )
      directory_->entryIs( root ).stateIs( 0 );
   demuxer_ = Demuxer::DemuxerIs( side_, 0 );
   demuxer_->rootsIs( this );
   // An entity that the peer made nondestructing would stay in our memory for good.
   demuxer_->peerSetsNondestructingIs( false );
   Zet::String8 const type = State::_fwkType()->fullName();
   demuxer_->in()->expectedTypeIs( type );
   demuxer_->out()->helloIs( Zet::TypeId( type.view() ) );
}

bool
StatusReplica::isInStep() const {
   auto const roots = roots_.all();
   return std::all_of( roots.begin(), roots.end(), [ & ]( auto const& root ) {
      return directory_->entry( root->name() )->state() == Zet::Dir::Entry::inStep;
   } );
}

Zet::Ptr< Zet::Entity >
StatusReplica::root( Zet::TypeId, Zet::Name const& name ) {
   Zet::Dir::Entry const* const entry = directory_->entry( name );
   return entry ? entry->entity() : nullptr;
}

} // namespace Ufdd
