#pragma once

#include "model/Config.h"
#include "model/Status.h"
#include "platform/zet/Expect.h"
#include "platform/zet/attrlog/StreamAdapter.h"
#include "sm/Root.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

// Observers of the entities: one that records, and hostile ones that do to a dispatch what they
// are named after.
namespace Tests {

namespace Ufd = UplinkFailureDetection;

// What observers heard: "NAME ID KEY", and "NAME exception ID" after a throw.
using Log = std::vector< std::string >;

// An E's notifiee whose handlers all come down to one.
template < class E > class Hearing : public E::NotifieeConst {
 public:
   void onIsNondestructing() override { hear( Zet::isNondestructingAttributeId ); }
   void onZeroReferences() override { hear( Zet::zeroReferencesAttributeId ); }

 protected:
   virtual void hear( Zet::AttributeId id, std::string_view key = {} ) = 0;
};

template < class E > class Listener : public Hearing< E > {
   void onGroup( Zet::Name name ) override { this->hear( 258, name.view() ); }
};

template <> class Listener< Ufd::GroupConfig > : public Hearing< Ufd::GroupConfig > {
   void onIntfsToMonitor( Kelnet::IntfId intfId ) override { hear( 258, intfId.name().view() ); }
   void onIntfsToDisable( Kelnet::IntfId intfId ) override { hear( 259, intfId.name().view() ); }
   void onMinLinks() override { hear( 260 ); }
};

template <> class Listener< Ufd::GroupStatus > : public Hearing< Ufd::GroupStatus > {
   void onGroupLinkStatus() override { hear( 258 ); }
   void onNumTimesDisabled() override { hear( 259 ); }
   void onPrevDisabledTime() override { hear( 260 ); }
};

template <> class Listener< Ufd::Root > : public Hearing< Ufd::Root > {
   void onUplinkFailureDetectionSm() override { hear( 258 ); }
};

// Writes down what it hears, and an event that no Expect scope is ready for.
template < class E > class Recorder : public Listener< E > {
 public:
   Recorder( Log& log, std::string name ) : log_( log ), name_( std::move( name ) ) {}

 protected:
   void hear( Zet::AttributeId id, std::string_view key ) override {
      log_.push_back( name_ + " " + std::to_string( id ) +
                      ( key.empty() ? "" : " " + std::string( key ) ) );
      if ( !Zet::Expect::innermost() || Zet::Expect::innermost()->exceptionId() != 0 )
         log_.push_back( name_ + " unexpected" );
      react();
   }
   void onNotificationException( Zet::AttributeId id ) override {
      log_.push_back( name_ + " exception " + std::to_string( id ) );
   }
   virtual void react() {}

 private:
   Log& log_;
   std::string name_;
};

// Does what the test says after recording.
template < class E > struct Actor : Recorder< E > {
   using Recorder< E >::Recorder;
   void react() override { act(); }
   std::function< void() > act = [] {};
};

// Changes the entity again, once.
template < class E > struct Reenterer : Recorder< E > {
   using Recorder< E >::Recorder;
   void react() override {
      if ( auto const once = std::exchange( change, nullptr ) )
         once();
   }
   std::function< void() > change;
};

// Throws; told of that, it writes it down, leaves it to the default or throws again.
template < class E > struct Thrower : Recorder< E > {
   using Recorder< E >::Recorder;
   void react() override { std::rethrow_exception( what ); }
   void onNotificationException( Zet::AttributeId id ) override {
      if ( leavesIt )
         return E::NotifieeConst::onNotificationException( id );
      Recorder< E >::onNotificationException( id );
      if ( insists )
         throw std::logic_error( "insisted" );
   }
   std::exception_ptr what = std::make_exception_ptr( std::runtime_error( "thrown" ) );
   bool insists = false;
   bool leavesIt = false;
};

// Is told of all attributes alike, the key being a name, and throws.
template < class E > struct Untyped : Zet::UntypedNotifiee< E > {
   Untyped( Log& log, std::string name ) : log_( log ), name_( std::move( name ) ) {}
   void onChange( Zet::AttributeId id, void const* key ) override {
      auto const* const text = static_cast< Zet::Name const* >( key );
      log_.push_back( name_ + " " + std::to_string( id ) + ( text ? " " : "" ) +
                      ( text ? text->c_str() : "" ) );
      throw std::runtime_error( "thrown" );
   }
   void onNotificationException( Zet::AttributeId id ) override {
      log_.push_back( name_ + " exception " + std::to_string( id ) );
   }

 private:
   Log& log_;
   std::string name_;
};

// Reacts on behalf of an attribute log.
template < class E > struct LogObserver : Recorder< E > {
   using Recorder< E >::Recorder;
   Zet::Ptr< Zet::PtrInterface const > zetReactor() const override { return log; }
   Zet::Ptr< Zet::Entity::ZetNboAttrLogSa > log = Zet::make< Zet::Entity::ZetNboAttrLogSa >();
};

// A new observer of that kind, attached to the entity and registered.
template < template < class > class Kind, class E >
Zet::Ptr< Kind< E > >
observe( Zet::Ptr< E > const& entity, Log& log, std::string name ) {
   auto const observer = Zet::make< Kind< E > >( log, std::move( name ) );
   entity->zetNotifieeAdapterIs( observer );
   return observer;
}

} // namespace Tests
