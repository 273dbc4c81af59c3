#pragma once

#include "adapters/notify/NotifyingEntity.h"

namespace Notify {

// A described entity E that attribute logs replicate. Which of its attributes, and how, follows
// from its rows. adapters/attrlog/Attach.h defines the operations. The library instantiates them
// for its own types, as their headers say: a host includes that file for its own.
template < class E > class ZET_EXPORT LoggedEntity : public NotifyingEntity< E > {
   using Adapter = Zet::Entity::ZetNboAttrLogSa;
   using Out = Zet::NboAttrLog::Out;

 public:
   // The adapter for that output, or null.
   Zet::Ptr< Adapter > zetNboAttrLogSa( Zet::Ptr< Out const > const& out ) const override;
   bool zetHasAttrLogInterface() const override;
   Zet::Ptr< Adapter > zetNboAttrLogSa( Zet::Ptr< Out const > const& out ) override;
   // The adapter for the output of that one.
   Zet::Ptr< Adapter > zetNboAttrLogSaForMsgChannel( Zet::Ptr< Adapter > const& adapter ) override;
   // The adapter for that output, made if there is none, which belongs to the output's demuxer or,
   // with AttachFlag::asChild, to the caller. Nothing is written. `flags` are AttachFlags.
   Zet::Ptr< Adapter > zetNboAttrLogSaIs( Zet::PtrInterface::NotifieeConst::Zet_BitSet mask,
                                          unsigned int flags, Zet::Ptr< Out > const& out,
                                          Zet::PtrInterface* owner ) override;
   void zetNboAttrLogSaDel( Zet::Ptr< Out > const& out ) override;

 protected:
   using NotifyingEntity< E >::NotifyingEntity;
};

} // namespace Notify
