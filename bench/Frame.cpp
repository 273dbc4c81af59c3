#include "bench/Frame.h"

#include <cstdio>
#include <cstdlib>

void
Bench::check( bool right, char const* what ) {
   if ( right )
      return;
   std::fprintf( stderr, "a wrong result: %s\n", what );
   std::exit( EXIT_FAILURE );
}

int
main( int argc, char** argv ) {
   benchmark::Initialize( &argc, argv );
   if ( benchmark::ReportUnrecognizedArguments( argc, argv ) )
      return EXIT_FAILURE;
   Bench::benchmarks();
   return benchmark::RunSpecifiedBenchmarks() == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
