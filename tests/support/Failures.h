#pragma once

#include "platform/zet/NotificationFailure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Tests {

inline std::string
textOf( Zet::NotificationFailure const& failure ) {
   return std::string( failure.entity.view() ) + ": a handler of " + failure.attribute.c_str() +
          " failed: " + failure.text.c_str();
}

// A failure that dispatch isolates fails the test.
inline void
failuresFailTheTest() {
   Zet::notificationFailureSinkIs(
       []( Zet::NotificationFailure const& failure ) { ADD_FAILURE() << textOf( failure ); } );
}

// While it lives, such failures are collected instead: those of a test that expects them.
struct CollectedFailures {
   CollectedFailures() {
      Zet::notificationFailureSinkIs( [ this ]( Zet::NotificationFailure const& failure ) {
         texts.push_back( textOf( failure ) );
      } );
   }
   ~CollectedFailures() { failuresFailTheTest(); }

   std::vector< std::string > texts;
};

} // namespace Tests
