#include "bench/dispatch/Dispatch.h"
#include "model/GroupConfig.h"

namespace {

using namespace UplinkFailureDetection;

// A setter of the model, with everything that a notification promises.
class Ours {
   struct Observer : GroupConfig::NotifieeConst {
      virtual std::uint64_t sum() const = 0;
   };
   template < int Kind > struct Kindly : Observer {
      void onMinLinks() override { sum_.add< Kind >( notifier()->minLinks() ); }
      std::uint64_t sum() const override { return sum_.sum; }
      Bench::Sum sum_;
   };

 public:
   template < int Kind > void observe() {
      auto& observer = observers_.add( Zet::make< Kindly< Kind > >() );
      config_->zetNotifieeAdapterIs( observer );
   }
   void set( unsigned int value ) { config_->minLinksIs( value ); }
   std::uint64_t sum() const {
      std::uint64_t sum = 0;
      for ( auto const& observer : observers_.all() )
         sum += ( *observer )->sum();
      return sum;
   }

 private:
   Bench::Scattered< Zet::Ptr< Observer > > observers_;
   Zet::Ptr< GroupConfig > const config_ = GroupConfig::GroupConfigIs( "subject" );
};

// The least that it can cost: virtual calls, with no promise at all.
class Floor {
   struct Observer : Bench::Sum {
      virtual ~Observer() = default;
      virtual void onValue( unsigned int value ) = 0;
   };
   template < int Kind > struct Kindly : Observer {
      void onValue( unsigned int value ) override { this->template add< Kind >( value ); }
   };

 public:
   template < int Kind > void observe() {
      between_.add( '\0' );
      observers_.push_back( std::make_unique< Kindly< Kind > >() );
   }
   void set( unsigned int value ) {
      if ( value == value_ )
         return;
      value_ = value;
      for ( auto const& observer : observers_ )
         observer->onValue( value );
      benchmark::ClobberMemory();
   }
   std::uint64_t sum() const {
      std::uint64_t sum = 0;
      for ( auto const& observer : observers_ )
         sum += observer->sum;
      return sum;
   }

 private:
   unsigned int value_ = 0;
   Bench::Scattered< char > between_;
   std::vector< std::unique_ptr< Observer > > observers_;
};

} // namespace

void
Bench::benchmarks() {
   addSubject< Ours >( "ours" );
   addSubject< Floor >( "floor" );
   addSignals2();
   addQt();
   addSigc();
   addGlib();
}
