#pragma once

#include "agent/base/UnixSocket.h"
#include "agent/status/StatusRoots.h"
#include "platform/zet/attrlog/Demuxer.h"
#include "platform/zet/attrlog/Dir.h"

#include <span>
#include <string>

namespace Ufdd {

// A copy of the roots of another process, kept up to date by their attribute log. The copy outlasts
// the connection: what the next connection brings is applied as changes.
class StatusReplica final : private Zet::NboAttrLog::Demuxer::Roots {
 public:
   using Side = Zet::NboAttrLog::Demuxer::Side;

   // `side` is this replica's side of each connection.
   explicit StatusReplica( Side side = Side::client );
   ~StatusReplica();

   // Forgets the connection and expects another one.
   void begin();
   // The bytes to send at the beginning of a connection.
   std::span< unsigned char const > hello() const { return demuxer_->out()->unsent(); }
   // Applies bytes of the log. Returns false if they break its rules; error() says how.
   bool receive( std::span< unsigned char const > bytes ) {
      return demuxer_->in()->receive( bytes );
   }
   std::string error() const { return demuxer_->in()->error().c_str(); }
   // Returns true if the peer has sent its hello.
   bool isGreeted() const { return demuxer_->in()->offset() != 0; }
   // Returns true if the peer has sent all roots, so that only changes follow.
   bool isInStep() const;

   StatusRoots const& roots() const { return roots_; }
   Zet::Ptr< UplinkFailureDetection::Config > const& config() const { return roots_.config; }
   Zet::Ptr< UplinkFailureDetection::Status > const& status() const { return roots_.status; }
   Zet::Ptr< State > const& state() const { return roots_.state; }

 private:
   Zet::Ptr< Zet::Entity > root( Zet::TypeId type, Zet::Name const& name ) override;

   Side const side_;
   Zet::Ptr< Zet::Dir > const directory_;
   StatusRoots const roots_;
   Zet::Ptr< Zet::NboAttrLog::Demuxer > demuxer_;
};

} // namespace Ufdd
