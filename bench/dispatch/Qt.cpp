#include "bench/dispatch/QtSubject.h"

#include <array>

namespace {

class Qt6 {
   using Observer = Bench::QtObserver;

 public:
   template < int Kind > void observe() {
      constexpr auto slots = std::array{ &Observer::onValue0, &Observer::onValue1,
                                         &Observer::onValue2, &Observer::onValue3 };
      QObject::connect( &subject_, &Bench::QtSubject::valueChanged, &observers_.add(),
                        slots[ Kind ], Qt::DirectConnection );
   }
   void set( unsigned int value ) { subject_.setValue( value ); }
   std::uint64_t sum() const { return sumOf( observers_ ); }

 private:
   Bench::Scattered< Observer > observers_;
   Bench::QtSubject subject_;
};

} // namespace

void
Bench::addQt() {
   addSubject< Qt6 >( "qt" );
}
