#include "platform/zet/NotificationFailure.h"

#include "tests/support/Entities.h"
#include "tests/support/Failures.h"

#include <gtest/gtest.h>

#include <iostream>
#include <memory>

using namespace Tests;

namespace {

TEST( NotificationFailure, mayBeReportedOutsideOfACatchClause ) {
   CollectedFailures const failures;
   Sample< Ufd::GroupConfig > const sample;
   Log log;
   auto const observer = observe< Recorder >( sample.entity, log, "observer" );
   Zet::handleNotificationFailure( *sample.entity, 260 );
   observer->handleNotificationException();
   ASSERT_EQ( failures.texts.size(), 2u );
   EXPECT_EQ( failures.texts[ 0 ],
              "/e: a handler of minLinks failed: no exception is being handled" );
}

TEST( NotificationFailure, isSurvivedThoughReportingItFails ) {
   Sample< Ufd::GroupConfig > const sample;
   Zet::notificationFailureSinkIs(
       []( Zet::NotificationFailure const& ) { throw std::bad_alloc(); } );
   testing::internal::CaptureStderr();
   Zet::handleNotificationFailure( *sample.entity, 260 );
   EXPECT_EQ( testing::internal::GetCapturedStderr(),
              "a handler of attribute 260 failed, and reporting that failed too\n" );
   failuresFailTheTest();
}

TEST( NotificationFailure, mayHaveItsSinkReplacedFromInside ) {
   Sample< Ufd::GroupConfig > const sample;
   auto held = std::make_shared< int >();
   std::weak_ptr< int > const watched = held;
   bool isAliveInside = false;
   auto const replace = [ & ] {
      failuresFailTheTest();
      isAliveInside = !watched.expired();
   };
   Zet::notificationFailureSinkIs(
       [ &replace, owned = std::move( held ) ]( auto const& ) { replace(); } );
   Zet::handleNotificationFailure( *sample.entity, 260 );
   EXPECT_TRUE( isAliveInside );
   EXPECT_TRUE( watched.expired() );
}

// Made before main() starts, so it goes after everything that is made on first use.
struct Last {
   ~Last() {
      if ( entity )
         Zet::handleNotificationFailure( *entity, 260 );
   }
   Zet::Ptr< Ufd::GroupConfig > entity;
} last;

TEST( NotificationFailure, isReportedAsLongAsThereAreEntities ) {
   auto const end = [] {
      std::shared_ptr< char const > alive( "gone\n",
                                           []( char const* text ) { std::cerr << text; } );
      Zet::notificationFailureSinkIs(
          [ held = std::move( alive ) ]( auto const& ) { std::cerr << "told\n"; } );
      last.entity = Ufd::GroupConfig::GroupConfigIs( "e" );
      std::exit( 0 );
   };
   EXPECT_EXIT( end(), testing::ExitedWithCode( 0 ), "^told\n$" );
}

} // namespace
