#pragma once

#include "bench/dispatch/Dispatch.h"

#include <QObject>

namespace Bench {

class QtSubject : public QObject {
   Q_OBJECT

 public:
   void setValue( unsigned int value ) {
      if ( value == value_ )
         return;
      value_ = value;
      Q_EMIT valueChanged( value );
   }

 Q_SIGNALS:
   void valueChanged( unsigned int value );

 private:
   unsigned int value_ = 0;
};

class QtObserver : public QObject, public Sum {
   Q_OBJECT

 public Q_SLOTS:
   void onValue0( unsigned int value ) { add< 0 >( value ); }
   void onValue1( unsigned int value ) { add< 1 >( value ); }
   void onValue2( unsigned int value ) { add< 2 >( value ); }
   void onValue3( unsigned int value ) { add< 3 >( value ); }
};

} // namespace Bench
