#include "agent/ports/OwnedLinkFile.h"

#include "tests/agent/Process.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/mount.h>
#include <thread>
#include <vector>

namespace Ufdd {
namespace {

using OwnedLinks = std::vector< OwnedLink >;

OwnedLinks const three{ { 7, InterfaceName( "eth1" ), 0x02a1b2c3d4e5 },
                        { 12, InterfaceName( "a-name-of-15byt" ), 0xfedcba9876543210,
                          LinkRequest::Means::protoDown, 31 },
                        { 9, InterfaceName( "eth2" ), 3, LinkRequest::Means::onlyReason, 0,
                          true } };

// A process with its record in a directory.
struct Keeper {
   explicit Keeper( std::string const& path ) : directory( path ), file( directory ) {}
   OwnedLinkFile* operator->() { return &file; }

   StateDirectory directory;
   OwnedLinkFile file;
};

class OwnedLinkFileTest : public testing::Test {
 protected:
   OwnedLinks recalled() const { return Keeper( directory.path() )->recall(); }
   std::string text() const {
      std::ifstream file( directory.path() + "/held" );
      return { std::istreambuf_iterator( file ), {} };
   }
   void textIs( std::string const& text ) const {
      std::ofstream( directory.path() + "/held" ) << text;
   }

   Directory directory;
};

TEST_F( OwnedLinkFileTest, nextProcessRecallsTheLastRecord ) {
   EXPECT_EQ( recalled(), OwnedLinks() );
   {
      Keeper file( directory.path() );
      EXPECT_EQ( file->remember( OwnedLinks{ { 3, InterfaceName( "eth0" ) } } ), 0 );
      EXPECT_EQ( file->remember( three ), 0 );
      EXPECT_THROW( recalled(), std::runtime_error ) << "there must not be two of them";
   }
   EXPECT_EQ( recalled(), three );
   EXPECT_NE( text().find( "\nheld 7 down 2a1b2c3d4e5 eth1\n" ), std::string::npos ) << text();
   EXPECT_EQ( Keeper( directory.path() )->remember( {} ), 0 );
   EXPECT_EQ( recalled(), OwnedLinks() );
}

TEST_F( OwnedLinkFileTest, ignoresOtherBootsOtherNamespacesAndBadLines ) {
   ASSERT_EQ( Keeper( directory.path() )->remember( three ), 0 );
   std::string const good = text();
   std::size_t const netns = good.find( "netns " ) + std::strlen( "netns " );
   for ( std::size_t const at : { std::strlen( "boot " ), netns } ) {
      std::string other = good;
      other[ at ] = other[ at ] == '9' ? '8' : '9';
      textIs( other );
      EXPECT_EQ( recalled(), OwnedLinks() );
   }
   textIs( good.substr( 0, good.find( "held" ) ) +
           "held 0 down 0 a\nheld x down 0 a\nheld 3 up 0 a\nheld 3 down 0\nheld 3 down 0 a/b\n"
           "held 3 protodown:32 0 a\nheld 3 protodown 0 a\nheld 3 reason: 0 a\n"
           "hold 3 down 0 a\n\n" +
           good.substr( good.find( "held" ) ) );
   EXPECT_EQ( recalled(), three );
}

TEST_F( OwnedLinkFileTest, removedFileIsWrittenAgainBeforeAnythingIsShut ) {
   Keeper file( directory.path() );
   ASSERT_EQ( file->remember( OwnedLinks{ three[ 0 ] } ), 0 );
   std::filesystem::remove( file->place() );
   file->add( OwnedLinks{ three[ 1 ] } );
   EXPECT_EQ( file->recall(), ( OwnedLinks{ three[ 0 ], three[ 1 ] } ) );
   // The directory is removed; then another ufdd's record is in its place.
   std::string const another = text();
   std::filesystem::remove_all( directory.path() );
   file->add( OwnedLinks{ three[ 2 ] } );
   EXPECT_EQ( file->recall(), three );
   std::filesystem::remove_all( directory.path() );
   std::filesystem::create_directory( directory.path() );
   textIs( another );
   EXPECT_EQ( file->remember( three ), EEXIST );
   EXPECT_EQ( text(), another );
   std::filesystem::remove( file->place() );
   EXPECT_EQ( file->remember( three ), 0 );
   EXPECT_EQ( file->recall(), three );
}

TEST_F( OwnedLinkFileTest, fullDiskLeavesTheRecordTrue ) {
   Keeper nowhere( directory.path() + "/no/such" );
   EXPECT_EQ( nowhere->remember( three ), ENOENT );
   std::filesystem::create_directory( directory.path() + "/no" );
   EXPECT_EQ( nowhere->remember( three ), 0 );
   bool isMounted = false;
   std::thread( [ & ] {
      isMounted = unshare( CLONE_NEWNS ) == 0 &&
                  mount( "", "/", "", MS_REC | MS_PRIVATE, nullptr ) == 0 &&
                  mount( "", directory.path().c_str(), "tmpfs", 0, "size=8k,mode=700" ) == 0;
      if ( !isMounted )
         return;
      EXPECT_EQ( Keeper( directory.path() )->remember( three ), 0 );
      std::ofstream( directory.path() + "/other" ) << std::string( 1 << 14, 'x' );
      Keeper file( directory.path() );
      OwnedLinks many{ three[ 1 ], three[ 2 ] };
      many[ 1 ].name = InterfaceName( "eth9" );
      for ( std::uint32_t index = 100; index < 300; ++index )
         many.push_back( { index, InterfaceName( "a-name-of-15byt" ) } );
      EXPECT_EQ( file->remember( many ), ENOSPC );
      EXPECT_EQ( file->recall(), ( OwnedLinks{ three[ 1 ], three[ 2 ] } ) )
          << "opened links are removed; an old name is better than none";
      EXPECT_EQ( file->remember( OwnedLinks{ three[ 2 ] } ), 0 ) << "forgetting takes no room";
      EXPECT_EQ( file->recall(), OwnedLinks{ three[ 2 ] } );
   } ).join();
   if ( !isMounted )
      GTEST_SKIP() << "no file system can be mounted here";
}

} // namespace
} // namespace Ufdd
