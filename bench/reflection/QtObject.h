#pragma once

#include <QObject>

namespace Bench {

class QtObject final : public QObject {
   Q_OBJECT
   Q_PROPERTY( unsigned int maxLinks MEMBER maxLinks_ NOTIFY changed )
   Q_PROPERTY( unsigned int timeout MEMBER timeout_ NOTIFY changed )
   Q_PROPERTY( unsigned int minLinks READ minLinks WRITE setMinLinks NOTIFY changed )
   Q_PROPERTY( unsigned int priority MEMBER priority_ NOTIFY changed )

 public:
   unsigned int minLinks() const { return minLinks_; }
   void setMinLinks( unsigned int number ) {
      if ( number == minLinks_ )
         return;
      minLinks_ = number;
      Q_EMIT changed();
   }

 Q_SIGNALS:
   void changed();

 private:
   unsigned int minLinks_ = 7;
   unsigned int maxLinks_ = 0;
   unsigned int timeout_ = 0;
   unsigned int priority_ = 0;
};

} // namespace Bench
