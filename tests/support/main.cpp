#include "platform/zet/NotificationFailure.h"

#include <gtest/gtest.h>

#include <ostream>

// A failure that dispatch isolates fails the test, unless the test expects it and says so by
// installing a sink of its own.
int
main( int argc, char** argv ) {
   testing::InitGoogleTest( &argc, argv );
   Zet::notificationFailureSinkIs( []( Zet::NotificationFailure const& failure ) {
      ADD_FAILURE() << failure.entity << ": a handler of " << failure.attribute
                    << " failed: " << failure.text;
   } );
   return RUN_ALL_TESTS();
}
