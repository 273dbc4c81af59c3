#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/LoggedEntity.h"
#include "adapters/notify/ValueCollection.h"
#include "agent/state/CheckResult.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/ListRaw.h"

namespace Ufdd {

// One check of uplinks: how it is configured, as far as whoever runs it must know, and what it has
// found. Times are in seconds of Zet::now().
class CheckState : public Notify::LoggedEntity< CheckState > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< CheckState >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   using ZetUplink = Notify::ValueMember< Zet::Name, bool, struct CheckUplinkTag >;

   explicit CheckState( Zet::Name name ) : LoggedEntity( std::move( name ) ) {}

   // The uplinks that it is a condition of, by name; the value is true.
   bool uplink( Zet::Name uplink ) const { return uplink_.value( uplink ); }
   void uplinkIs( Zet::Name uplink, bool is ) { uplink_.valueIs( *this, uplink, is ); }
   bool uplinkDel( Zet::Name uplink ) { return uplink_.valueDel( *this, uplink ); }
   void uplinkNotify( Zet::Name uplink, Zet::Ptr< ZetUplink > const& ) {
      notify< &CheckState::uplink >( uplink );
   }
   using Uplinks = Notify::ValueCollection< &CheckState::uplinkNotify >;
   Uplinks::Members const& uplinkMembers() const { return uplink_.members(); }
   // How it gets its results: "reported", "neighbour" or "command".
   Zet::String8 kind() const { return kind_; }
   void kindIs( Zet::String8 kind ) {
      attributeIs< &CheckState::kind >( kind_, std::move( kind ) );
   }
   // Of a neighbour check, the address that is asked.
   Zet::String8 address() const { return address_; }
   void addressIs( Zet::String8 address ) {
      attributeIs< &CheckState::address >( address_, std::move( address ) );
   }
   // Of a command check, the program and its arguments, each on a line of its own.
   Zet::String8 command() const { return command_; }
   void commandIs( Zet::String8 command ) {
      attributeIs< &CheckState::command >( command_, std::move( command ) );
   }
   // In seconds: the time between two runs or probes, how long each may take, and for how long
   // a report stands. 0 where the kind has none.
   double interval() const noexcept { return interval_; }
   void intervalIs( double interval ) {
      attributeIs< &CheckState::interval >( interval_, interval );
   }
   double timeout() const noexcept { return timeout_; }
   void timeoutIs( double timeout ) { attributeIs< &CheckState::timeout >( timeout_, timeout ); }
   double ttl() const noexcept { return ttl_; }
   void ttlIs( double ttl ) { attributeIs< &CheckState::ttl >( ttl_, ttl ); }
   // How many passes or fails in a row it takes to be up or down.
   unsigned int rise() const noexcept { return rise_; }
   void riseIs( unsigned int rise ) { attributeIs< &CheckState::rise >( rise_, rise ); }
   unsigned int fall() const noexcept { return fall_; }
   void fallIs( unsigned int fall ) { attributeIs< &CheckState::fall >( fall_, fall ); }
   // What its last results make of it.
   CheckVerdict verdict() const noexcept { return verdict_; }
   void verdictIs( CheckVerdict verdict ) {
      attributeIs< &CheckState::verdict >( verdict_, verdict );
   }
   // True while its uplinks count as up, as far as this check goes. May differ from the verdict: it
   // counts as configured while that is starting or unknown, and as up until waitTime.
   bool isUp() const noexcept { return isUp_; }
   void isUpIs( bool isUp ) { attributeIs< &CheckState::isUp >( isUp_, isUp ); }
   // The last result and its reason, in words; and how many of that result came in a row, counted
   // up to rise or fall.
   CheckResult result() const noexcept { return result_; }
   void resultIs( CheckResult result ) { attributeIs< &CheckState::result >( result_, result ); }
   Zet::String8 reason() const { return reason_; }
   void reasonIs( Zet::String8 reason ) {
      attributeIs< &CheckState::reason >( reason_, std::move( reason ) );
   }
   unsigned int run() const noexcept { return run_; }
   void runIs( unsigned int run ) { attributeIs< &CheckState::run >( run_, run ); }
   // Since when it has its verdict and counts as it does.
   double since() const noexcept { return since_; }
   void sinceIs( double since ) { attributeIs< &CheckState::since >( since_, since ); }
   // When its failure begins to count, since others failed at the same time; 0 if it does not wait.
   double waitTime() const noexcept { return waitTime_; }
   void waitTimeIs( double waitTime ) {
      attributeIs< &CheckState::waitTime >( waitTime_, waitTime );
   }

   // Returns the check's key in its State.
   Zet::Name const& zetKey() const noexcept { return zetName(); }

 protected:
   ~CheckState() override { notifiees_.deleteAll(); }

 private:
   friend class Notify::NotifyingEntity< CheckState >;

   Uplinks uplink_;
   Zet::String8 kind_;
   Zet::String8 address_;
   Zet::String8 command_;
   double interval_ = 0;
   double timeout_ = 0;
   double ttl_ = 0;
   unsigned int rise_ = 0;
   unsigned int fall_ = 0;
   CheckVerdict verdict_ = CheckVerdict::starting;
   bool isUp_ = true;
   CheckResult result_ = CheckResult::none;
   Zet::String8 reason_;
   unsigned int run_ = 0;
   double since_ = 0;
   double waitTime_ = 0;
   mutable NotifieeList notifiees_;

 public:
   Zet::ChainLink< CheckState > zetChainLink;
};

class CheckState::NotifieeConst
    : public Notify::EntityNotifiee< CheckState, Zet::Entity::NotifieeConst, Zet::Name > {
 public:
   virtual void onUplink( Zet::Name ) {}
   virtual void onKind() {}
   virtual void onAddress() {}
   virtual void onCommand() {}
   virtual void onInterval() {}
   virtual void onTimeout() {}
   virtual void onTtl() {}
   virtual void onRise() {}
   virtual void onFall() {}
   virtual void onVerdict() {}
   virtual void onIsUp() {}
   virtual void onResult() {}
   virtual void onReason() {}
   virtual void onRun() {}
   virtual void onSince() {}
   virtual void onWaitTime() {}
};

} // namespace Ufdd

extern template class Notify::LoggedEntity< Ufdd::CheckState >;

template <> struct Notify::Description< Ufdd::CheckState > {
   using T = Ufdd::CheckState;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "CheckState";
   static constexpr std::tuple attributes{
      ValueCollectionRow< &T::uplink, &T::uplinkMembers, &T::uplinkIs, &T::uplinkDel,
                          &N::onUplink >{ 258, "uplink" },
      Scalar< &T::kind, &T::kindIs, &N::onKind >{ 259, "kind" },
      Scalar< &T::address, &T::addressIs, &N::onAddress >{ 260, "address" },
      Scalar< &T::command, &T::commandIs, &N::onCommand >{ 261, "command" },
      Scalar< &T::interval, &T::intervalIs, &N::onInterval >{ 262, "interval" },
      Scalar< &T::timeout, &T::timeoutIs, &N::onTimeout >{ 263, "timeout" },
      Scalar< &T::ttl, &T::ttlIs, &N::onTtl >{ 264, "ttl" },
      Scalar< &T::rise, &T::riseIs, &N::onRise >{ 265, "rise" },
      Scalar< &T::fall, &T::fallIs, &N::onFall >{ 266, "fall" },
      Scalar< &T::verdict, &T::verdictIs, &N::onVerdict >{ 267, "verdict" },
      Scalar< &T::isUp, &T::isUpIs, &N::onIsUp >{ 268, "isUp" },
      Scalar< &T::result, &T::resultIs, &N::onResult >{ 269, "result" },
      Scalar< &T::reason, &T::reasonIs, &N::onReason >{ 270, "reason" },
      Scalar< &T::run, &T::runIs, &N::onRun >{ 271, "run" },
      Scalar< &T::since, &T::sinceIs, &N::onSince >{ 272, "since" },
      Scalar< &T::waitTime, &T::waitTimeIs, &N::onWaitTime >{ 273, "waitTime" },
   };
};
