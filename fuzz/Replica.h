#pragma once

#include "adapters/attrlog/ConfigLog.h"
#include "adapters/attrlog/StatusLog.h"

#include <algorithm>
#include <cstdlib>
#include <span>

namespace Fuzz {

using Zet::NboAttrLog::Demuxer;

inline void
expect( bool held ) {
   if ( !held )
      std::abort();
}

// A replica of type E named "root". Any bytes may fill it.
template < class E > struct Replica final : Demuxer::Roots {
   Replica() { demuxer->rootsIs( this ), demuxer->peerSetsNondestructingIs( false ); }

   Zet::Ptr< Zet::Entity > root( Zet::TypeId, Zet::Name const& name ) override {
      return name == entity->name() ? entity : nullptr;
   }
   void receive( std::span< unsigned char const > bytes, std::size_t pieces ) {
      while ( !bytes.empty() ) {
         std::size_t const size = std::min( pieces, bytes.size() );
         demuxer->in()->receive( bytes.first( size ) );
         bytes = bytes.subspan( size );
      }
   }

   Zet::Ptr< E > entity = Zet::make< E >( "root" );
   Zet::Ptr< Demuxer > demuxer = Demuxer::DemuxerIs( Demuxer::Side::client, 1 );
};

} // namespace Fuzz
