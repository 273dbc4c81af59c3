#pragma once

#include "agent/state/GroupMode.h"
#include "agent/state/OrderedState.h"
#include "agent/state/WaitReason.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/ListRaw.h"

#include <string>

namespace Ufdd {

// What ufdd knows of one group, beside its Status and its Config. Those two are replicated as well:
// the Status says whether the group is up and how often it went down, the Config lists its uplinks
// and ports. Times are in seconds of Zet::now().
class GroupState : public OrderedState< GroupState > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< GroupState >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;

   explicit GroupState( Zet::Name name ) : OrderedState( std::move( name ) ) {}

   GroupMode mode() const noexcept { return mode_; }
   void modeIs( GroupMode mode ) { attributeIs< &GroupState::mode >( mode_, mode ); }
   // The number of its uplinks that are up, of all its uplinks, and of those that must be up: for
   // the group to stay up, to be up again once it was down, and to be up as it is now.
   unsigned int upLinks() const noexcept { return upLinks_; }
   void upLinksIs( unsigned int links ) { attributeIs< &GroupState::upLinks >( upLinks_, links ); }
   unsigned int allLinks() const noexcept { return allLinks_; }
   void allLinksIs( unsigned int links ) {
      attributeIs< &GroupState::allLinks >( allLinks_, links );
   }
   unsigned int minLinks() const noexcept { return minLinks_; }
   void minLinksIs( unsigned int links ) {
      attributeIs< &GroupState::minLinks >( minLinks_, links );
   }
   unsigned int recoverLinks() const noexcept { return recoverLinks_; }
   void recoverLinksIs( unsigned int links ) {
      attributeIs< &GroupState::recoverLinks >( recoverLinks_, links );
   }
   unsigned int neededLinks() const noexcept { return neededLinks_; }
   void neededLinksIs( unsigned int links ) {
      attributeIs< &GroupState::neededLinks >( neededLinks_, links );
   }

   // True while the group counts as down, by what has been decided after its delays. Its ports are
   // shut then, unless its mode or the port's condition says otherwise.
   bool isDown() const noexcept { return isDown_; }
   void isDownIs( bool isDown ) { attributeIs< &GroupState::isDown >( isDown_, isDown ); }
   // What it waits for, and when the wait ends unless the group changes before: 0 if no time ends
   // it.
   WaitReason wait() const noexcept { return wait_; }
   void waitIs( WaitReason wait ) { attributeIs< &GroupState::wait >( wait_, wait ); }
   double waitTime() const noexcept { return waitTime_; }
   void waitTimeIs( double time ) { attributeIs< &GroupState::waitTime >( waitTime_, time ); }
   // The lengths of its delays at present, in seconds. A group that falls again and again has a
   // longer recovery delay than configured.
   double downDelay() const noexcept { return downDelay_; }
   void downDelayIs( double seconds ) {
      attributeIs< &GroupState::downDelay >( downDelay_, seconds );
   }
   double recoveryDelay() const noexcept { return recoveryDelay_; }
   void recoveryDelayIs( double seconds ) {
      attributeIs< &GroupState::recoveryDelay >( recoveryDelay_, seconds );
   }
   // The routes that must exist before its ports are opened, with ", " between them; empty if it
   // needs none. And for how long it waits for them at most after its recovery delay, in seconds.
   Zet::String8 releaseWhen() const { return releaseWhen_; }
   void releaseWhenIs( Zet::String8 routes ) {
      attributeIs< &GroupState::releaseWhen >( releaseWhen_, std::move( routes ) );
   }
   double releaseTimeout() const noexcept { return releaseTimeout_; }
   void releaseTimeoutIs( double seconds ) {
      attributeIs< &GroupState::releaseTimeout >( releaseTimeout_, seconds );
   }

   // Why its Status last changed, in words: "uplink eth2 lost carrier". Empty until then;
   // "configured" if not for a link.
   Zet::String8 cause() const { return cause_; }
   void causeIs( Zet::String8 cause ) {
      attributeIs< &GroupState::cause >( cause_, std::move( cause ) );
   }
   // When its Status last became down, and when up; 0 if it never did. Being so at the first
   // evaluation counts.
   double downTime() const noexcept { return downTime_; }
   void downTimeIs( double time ) { attributeIs< &GroupState::downTime >( downTime_, time ); }
   double upTime() const noexcept { return upTime_; }
   void upTimeIs( double time ) { attributeIs< &GroupState::upTime >( upTime_, time ); }
   // The wall time of downTime(), taken when it happened, in seconds since the epoch; 0 for never.
   double downWall() const noexcept { return downWall_; }
   void downWallIs( double wall ) { attributeIs< &GroupState::downWall >( downWall_, wall ); }
   // True if the configuration has it only log what it would do, whatever its mode is.
   bool isDryRun() const noexcept { return isDryRun_; }
   void isDryRunIs( bool isDryRun ) { attributeIs< &GroupState::isDryRun >( isDryRun_, isDryRun ); }

   // False if its ports stay shut once it was down, until an operator clears them.
   bool autoRecover() const noexcept { return autoRecover_; }
   void autoRecoverIs( bool autoRecover ) {
      attributeIs< &GroupState::autoRecover >( autoRecover_, autoRecover );
   }
   // Returns the group's key in its State.
   Zet::Name const& zetKey() const noexcept { return zetName(); }

 protected:
   ~GroupState() override { notifiees_.deleteAll(); }

 private:
   friend class Notify::NotifyingEntity< GroupState >;

   GroupMode mode_ = GroupMode::acting;
   unsigned int upLinks_ = 0;
   unsigned int allLinks_ = 0;
   unsigned int minLinks_ = 0;
   unsigned int recoverLinks_ = 0;
   unsigned int neededLinks_ = 0;
   bool isDown_ = false;
   WaitReason wait_ = WaitReason::nothing;
   double waitTime_ = 0;
   double downDelay_ = 0;
   double recoveryDelay_ = 0;
   Zet::String8 releaseWhen_;
   double releaseTimeout_ = 0;
   Zet::String8 cause_;
   double downTime_ = 0;
   double upTime_ = 0;
   double downWall_ = 0;
   bool isDryRun_ = false;
   bool autoRecover_ = true;
   mutable NotifieeList notifiees_;

 public:
   Zet::ChainLink< GroupState > zetChainLink;
};

class GroupState::NotifieeConst : public OrderedNotifiee< GroupState > {
 public:
   virtual void onMode() {}
   virtual void onUpLinks() {}
   virtual void onAllLinks() {}
   virtual void onNeededLinks() {}
   virtual void onIsDown() {}
   virtual void onWait() {}
   virtual void onWaitTime() {}
   virtual void onDownDelay() {}
   virtual void onRecoveryDelay() {}
   virtual void onReleaseWhen() {}
   virtual void onCause() {}
   virtual void onDownTime() {}
   virtual void onUpTime() {}
   virtual void onMinLinks() {}
   virtual void onRecoverLinks() {}
   virtual void onDownWall() {}
   virtual void onIsDryRun() {}
   virtual void onAutoRecover() {}
   virtual void onReleaseTimeout() {}
};

// Says how many uplinks a group needs: "2", or "2, 3 until recovered" while it needs more than to
// stay up.
inline std::string
neededText( unsigned int minLinks, unsigned int neededLinks ) {
   return std::to_string( minLinks ) +
          ( neededLinks > minLinks ? ", " + std::to_string( neededLinks ) + " until recovered"
                                   : "" );
}

} // namespace Ufdd

extern template class Notify::LoggedEntity< Ufdd::GroupState >;

template <> struct Notify::Description< Ufdd::GroupState > {
   using T = Ufdd::GroupState;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "GroupState";
   static constexpr auto attributes = std::tuple_cat(
       std::tuple{
           Scalar< &T::mode, &T::modeIs, &N::onMode >{ 258, "mode" },
           Scalar< &T::upLinks, &T::upLinksIs, &N::onUpLinks >{ 259, "upLinks" },
           Scalar< &T::allLinks, &T::allLinksIs, &N::onAllLinks >{ 260, "allLinks" },
           Scalar< &T::neededLinks, &T::neededLinksIs, &N::onNeededLinks >{ 261, "neededLinks" },
           Scalar< &T::isDown, &T::isDownIs, &N::onIsDown >{ 262, "isDown" },
           Scalar< &T::wait, &T::waitIs, &N::onWait >{ 263, "wait" },
           Scalar< &T::waitTime, &T::waitTimeIs, &N::onWaitTime >{ 264, "waitTime" },
           Scalar< &T::downDelay, &T::downDelayIs, &N::onDownDelay >{ 265, "downDelay" },
           Scalar< &T::recoveryDelay, &T::recoveryDelayIs, &N::onRecoveryDelay >{ 266,
                                                                                  "recoveryDelay" },
           Scalar< &T::releaseWhen, &T::releaseWhenIs, &N::onReleaseWhen >{ 267, "releaseWhen" },
           Scalar< &T::cause, &T::causeIs, &N::onCause >{ 268, "cause" },
           Scalar< &T::downTime, &T::downTimeIs, &N::onDownTime >{ 269, "downTime" },
           Scalar< &T::upTime, &T::upTimeIs, &N::onUpTime >{ 270, "upTime" },
           Scalar< &T::minLinks, &T::minLinksIs, &N::onMinLinks >{ 271, "minLinks" },
           Scalar< &T::recoverLinks, &T::recoverLinksIs, &N::onRecoverLinks >{ 272,
                                                                               "recoverLinks" },
           Scalar< &T::downWall, &T::downWallIs, &N::onDownWall >{ 273, "downWall" },
           Scalar< &T::isDryRun, &T::isDryRunIs, &N::onIsDryRun >{ 274, "isDryRun" },
       },
       Ufdd::orderRows< T >( 275 ),
       std::tuple{
           Scalar< &T::autoRecover, &T::autoRecoverIs, &N::onAutoRecover >{ 280, "autoRecover" },
           Scalar< &T::releaseTimeout, &T::releaseTimeoutIs, &N::onReleaseTimeout >{
               281, "releaseTimeout" },
       } );
};
