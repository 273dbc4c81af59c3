#include "tests/agent/Process.h"

#include <gtest/gtest.h>

namespace Ufdd {
namespace {

TEST( Process, checkReportsWhatIsWrong ) {
   TextFile const right( "[[group]]\nname = \"a\"\nmonitor = [ \"lo\" ]\ndisable = [ \"d\" ]\n" );
   Directory const state;
   Process good( { "--check", right.path(), "--state-dir", state.path() + "/none" } );
   EXPECT_EQ( good.wait(), 0 );
   std::string const output = good.output();
   EXPECT_TRUE( output.starts_with( right.path() +
                                    ":4:13: note: there is no interface \"d\" yet\nport d " ) &&
                output.ends_with( '\n' + right.path() + ": OK, 1 group\n" ) )
       << output;

   TextFile const wrong( "[[group]]\nname = \"a\"\nmonitor = [ \"u\" ]\ndisabled = []\n" );
   for ( char const* const way : { "--check", "--config" } ) {
      Process bad( { way, wrong.path() } );
      EXPECT_EQ( bad.wait(), 78 );
      EXPECT_TRUE( bad.wrote( wrong.path() + ":4:1: unknown key \"disabled\"" ) );
      // Warnings are left out while there are errors.
      EXPECT_FALSE( bad.wrote( "disables no port" ) ) << bad.output();
   }
   Process unclear( {} );
   EXPECT_EQ( unclear.wait(), 64 );
}

TEST( Process, namesTheMissingCapability ) {
   TextFile const file( "" );
   Directory const state;
   Process process( { "--config", file.path(), "--state-dir", state.path(), "--socket",
                      state.path() + "/status" },
                    Process::Rights::noNetAdmin );
   EXPECT_EQ( process.wait(), 1 );
   EXPECT_TRUE( process.wrote( "CAP_NET_ADMIN" ) ) << process.output();
}

} // namespace
} // namespace Ufdd
