#include "agent/base/StateDirectory.h"

#include "agent/base/StateFile.h"
#include "tests/agent/Directory.h"
#include "tests/agent/TextMatchers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace Ufdd {
namespace {

constexpr uid_t stranger = 12345;

class StateDirectoryTest : public testing::Test {
 protected:
   // Returns why ufdd refuses the directory; empty if it doesn't.
   static std::string refusal( std::string const& path ) {
      try {
         StateDirectory const directory( path );
         return directory.objection();
      } catch ( std::runtime_error const& error ) {
         return error.what();
      }
   }

   Directory top;
   std::string const path = top.path() + "/state";
};

TEST_F( StateDirectoryTest, refusesWhatOthersControl ) {
   EXPECT_EQ( refusal( path + "/" ), "" );
   struct stat made {};
   ASSERT_EQ( stat( path.c_str(), &made ), 0 );
   EXPECT_EQ( made.st_mode & 0777 & ~0750U, 0U );
   for ( mode_t const mode : { 0770U, 0702U } ) {
      ASSERT_EQ( chmod( path.c_str(), mode ), 0 );
      EXPECT_THAT( refusal( path ), HasSubstr( "chmod go-w " + path ) );
   }
   ASSERT_EQ( chmod( path.c_str(), 0755 ), 0 );
   std::string const link = top.path() + "/link";
   std::filesystem::create_directory_symlink( path, link );
   for ( char const* const end : { "", "/" } )
      EXPECT_THAT( refusal( link + end ), HasSubstr( "a link" ) );
   if ( geteuid() != 0 )
      GTEST_SKIP() << "only root can give files away";
   // Root gave the directory to that user, unless others can write to the one above.
   ASSERT_EQ( chown( path.c_str(), stranger, stranger ), 0 );
   EXPECT_EQ( refusal( path ), "" );
   ASSERT_EQ( chmod( top.path().c_str(), 01777 ), 0 );
   EXPECT_THAT( refusal( path ), HasSubstr( "belongs to user 12345" ) );
}

TEST_F( StateDirectoryTest, secondProcessIsToldWhoIsThere ) {
   StateDirectory const directory( path );
   EXPECT_EQ( refusal( path ), "another ufdd (process " + std::to_string( getpid() ) + ") uses " +
                                   path + "; stop it first" );
   // A link instead of the lock would have another file locked, and written to.
   std::filesystem::remove( path + "/lock" );
   EXPECT_FALSE( directory.isThere() );
   std::string const victim = top.path() + "/victim";
   std::ofstream( victim ) << "precious";
   std::filesystem::create_symlink( victim, path + "/lock" );
   EXPECT_EQ( StateDirectory( path ).renew(), ELOOP );
   std::filesystem::remove( path + "/lock" );
   std::filesystem::create_hard_link( victim, path + "/lock" );
   EXPECT_THAT( refusal( path ), HasSubstr( "no regular file of its own" ) );
   EXPECT_EQ( contentOf( victim ), "precious" );
}

TEST_F( StateDirectoryTest, followsNoLinkAndWaitsForNoFifo ) {
   StateDirectory directory( path );
   StateFile file( directory, "seen", 2 );
   EXPECT_EQ( file.read().kind, StateFile::Content::none );
   std::string const victim = top.path() + "/victim";
   std::ofstream( victim ) << file.heading() << "forged\n";
   // Each of these in place of the file, and of the new file that is about to replace it.
   for ( std::string const& forgery :
         { "ln -s " + victim, "ln " + victim, std::string( "mkfifo" ), "install -m 666 " + victim,
           "install -o 12345 -m 644 " + victim, std::string( "truncate -s 2M" ) } ) {
      for ( char const* const name : { "/seen", "/seen.new" } ) {
         std::filesystem::remove( path + name );
         ASSERT_EQ( std::system( ( forgery + ' ' + path + name ).c_str() ), 0 );
      }
      StateFile::Content const content = file.read();
      EXPECT_EQ( content.kind, StateFile::Content::unreadable ) << forgery;
      EXPECT_TRUE( content.lines.empty() ) << forgery;
      EXPECT_THAT( content.problem,
                   testing::AnyOf( HasSubstr( "regular file" ), HasSubstr( "1 MiB" ) ) )
          << forgery;
      EXPECT_EQ( file.replace( "ours\n" ), 0 ) << forgery;
      EXPECT_EQ( file.read().lines, "ours\n" ) << forgery;
      EXPECT_EQ( contentOf( victim ), file.heading() + "forged\n" ) << forgery;
   }
}

TEST_F( StateDirectoryTest, fileHoldsForThisBootAndNamespace ) {
   StateDirectory directory( path );
   StateFile file( directory, "seen", 2 );
   ASSERT_EQ( file.replace( "a\n" ), 0 );
   std::string const good = contentOf( file.place() );
   auto const kindOf = [ & ]( std::string const& text ) {
      std::ofstream( file.place() ) << text;
      return file.read().kind;
   };
   using Kind = StateFile::Content::Kind;
   EXPECT_EQ( kindOf( good + "half" ), Kind::current );
   EXPECT_EQ( file.read().lines, "a\n" );
   EXPECT_EQ( file.read().version, 2U );
   EXPECT_EQ( kindOf( good.substr( good.find( "boot" ) ) ), Kind::current );
   EXPECT_EQ( file.read().version, 1U );
   for ( std::string const place : { "boot ", "netns " } ) {
      std::string other = good;
      char& digit = other[ other.find( place ) + place.size() ];
      digit = digit == '9' ? '8' : '9';
      EXPECT_EQ( kindOf( other ), Kind::former );
   }
   for ( std::string const& bad :
         { std::string(), std::string( "ufdd-seen 2\n" ), "ufdd-other 1\n" + directory.epoch(),
           "ufdd-seen 3\n" + directory.epoch(), "ufdd-seen 2x\n" + directory.epoch() } )
      EXPECT_EQ( kindOf( bad ), Kind::unreadable ) << bad;
   // Nobody loses a file that is kept aside.
   EXPECT_EQ( directory.keepAside( "seen" ), "seen.unreadable-1" );
   ASSERT_EQ( file.replace( "b\n" ), 0 );
   EXPECT_EQ( directory.keepAside( "seen" ), "seen.unreadable-2" );
   EXPECT_EQ( file.read( "seen.unreadable-2" ).lines, "b\n" );
   EXPECT_EQ( directory.keepAside( "seen" ), "" );
}

TEST_F( StateDirectoryTest, lostFileIsNoticed ) {
   StateDirectory directory( path );
   StateFile file( directory, "seen", 1 );
   EXPECT_FALSE( file.isLost() ) << "nothing was written";
   for ( std::string const& loss :
         { "rm " + file.place(), "rm -r " + path, "mv " + path + " " + path + "2",
           "cp " + file.place() + " " + path + "/x; mv " + path + "/x " + file.place() } ) {
      ASSERT_EQ( file.replace( "a\n" ), 0 );
      ASSERT_FALSE( file.isLost() );
      ASSERT_EQ( std::system( loss.c_str() ), 0 );
      EXPECT_TRUE( file.isLost() ) << loss;
   }
}

} // namespace
} // namespace Ufdd
