#include "tests/support/Failures.h"

#include <gtest/gtest.h>

int
main( int argc, char** argv ) {
   testing::InitGoogleTest( &argc, argv );
   Tests::failuresFailTheTest();
   return RUN_ALL_TESTS();
}
