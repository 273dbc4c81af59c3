#include "agent/status/StatusCopy.h"

#include "platform/zet/Assert.h"

namespace Ufdd {

using Zet::NboAttrLog::Demuxer;

// The original's log uses the entity ids of a client's side. They can't clash with the ids that
// the copy, on the server's side, gives out to the clients.
StatusCopy::StatusCopy( StatusRoots const& originals )
    : replica_( StatusReplica::Side::server ),
      demuxer_( Demuxer::DemuxerIs( Demuxer::Side::client, changesLimit ) ) {
   demuxer_->out()->helloIs( Zet::TypeId( State::_fwkType()->fullName().view() ) );
   for ( auto const& original : originals.all() )
      original->zetNboAttrLogSaIs( {}, 0, demuxer_->out(), nullptr )->doSerializeOrphan();
   follow();
}

void
StatusCopy::follow() {
   do {
      for ( auto bytes = demuxer_->out()->unsent(); !bytes.empty();
            bytes = demuxer_->out()->unsent() ) {
         Zet::require( replica_.receive( bytes ), "a copy understands its original" );
         demuxer_->out()->sentIs( bytes.size() );
      }
      demuxer_->handleRoom();
   } while ( demuxer_->out()->unsentSize() != 0 );
}

} // namespace Ufdd
