#pragma once

#include "adapters/notify/NotifyingEntity.h"

namespace Notify {

// A described entity E that attribute logs replicate. E's rows decide which attributes are
// replicated, and how. adapters/attrlog/Attach.h defines the operations. The library instantiates
// them for its own types. A host includes that file for the host's types.
template < class E > class ZET_EXPORT LoggedEntity : public NotifyingEntity< E > {
   using Adapter = Zet::Entity::ZetNboAttrLogSa;
   using Out = Zet::NboAttrLog::Out;

 public:
   // Returns the adapter for that output, or null.
   Zet::Ptr< Adapter > zetNboAttrLogSa( Zet::Ptr< Out const > const& out ) const override;
   bool zetHasAttrLogInterface() const override;
   Zet::Ptr< Adapter > zetNboAttrLogSa( Zet::Ptr< Out const > const& out ) override;
   // Returns the adapter for the output of the given adapter.
   Zet::Ptr< Adapter > zetNboAttrLogSaForMsgChannel( Zet::Ptr< Adapter > const& adapter ) override;
   // Returns the adapter for that output. Makes it if there is none; it then belongs to the
   // output's demuxer or, with AttachFlag::asChild, to the caller. Writes nothing. `flags` are
   // AttachFlags.
   Zet::Ptr< Adapter > zetNboAttrLogSaIs( Zet::PtrInterface::NotifieeConst::Zet_BitSet mask,
                                          unsigned int flags, Zet::Ptr< Out > const& out,
                                          Zet::PtrInterface* owner ) override;
   void zetNboAttrLogSaDel( Zet::Ptr< Out > const& out ) override;

 protected:
   using NotifyingEntity< E >::NotifyingEntity;
};

} // namespace Notify
