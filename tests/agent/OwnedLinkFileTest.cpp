#include "agent/ports/OwnedLinkFile.h"

#include "agent/ports/PortSettingsFile.h"
#include "tests/agent/Process.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
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
   std::string text() const { return contentOf( directory.path() + "/held" ); }
   void textIs( std::string const& text ) const {
      std::ofstream( directory.path() + "/held" ) << text;
   }

   Directory directory;
};

TEST_F( OwnedLinkFileTest, unreadableSettingsAreKept ) {
   PortSettings const port{ 7, InterfaceName( "eth1" ), 5, true, { { true, { std::byte{ 1 } } } } };
   std::string const path = directory.path() + "/settings";
   for ( bool const isForeign : { false, true } ) {
      StateDirectory place( directory.path() );
      PortSettingsFile file( place );
      EXPECT_EQ( file.remember( std::vector{ port } ), 0 );
      std::ofstream( path, isForeign ? std::ios::trunc : std::ios::app ) << "damage\n";
      EXPECT_EQ( file.recall().size(), isForeign ? 0u : 1u );
      EXPECT_NE( file.takeTrouble().find( path + ".unreadable-" + ( isForeign ? '2' : '1' ) ),
                 std::string::npos );
      EXPECT_EQ( file.recall().size(), isForeign ? 0u : 1u ) << "the readable lines stay";
      EXPECT_EQ( file.takeTrouble(), "" );
   }
}

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

TEST_F( OwnedLinkFileTest, keepsAsideWhatItCannotRead ) {
   ASSERT_EQ( Keeper( directory.path() )->remember( three ), 0 );
   std::string const good = text();
   std::string const epoch = StateDirectory( directory.path() ).epoch();
   std::string const lines = good.substr( good.find( "\nheld" ) + 1 );
   auto const recallOf = [ & ]( std::string const& record, OwnedLinks const& expected,
                                std::string const& unread ) {
      textIs( record );
      Keeper file( directory.path() );
      EXPECT_EQ( file->recall(), expected ) << record;
      std::vector< UnreadRecord > const found = file->takeUnread();
      ASSERT_EQ( found.size(), unread.empty() ? 0U : 1U ) << record;
      for ( UnreadRecord const& one : found ) {
         EXPECT_EQ( one.text, unread );
         EXPECT_FALSE( one.problem.empty() );
         EXPECT_EQ( contentOf( one.place ), record );
         std::filesystem::remove( one.place );
      }
   };
   recallOf( epoch + lines + "gone 4 down 3 a\ngoneridden 4 down 3 a\n", three, "" );
   recallOf( good + "#eld 4 down 3 a\n#verridden 4 down 3 a\n", three, "" );
   for ( std::string const line :
         { "held 0 down 0 a", "held x down 0 a", "held 3 up 0 a", "held 3 down 0",
           "held 3 down 0 a/b", "held 3 protodown:32 0 a", "held 3 protodown 0 a",
           "held 3 reason: 0 a", "hold 3 down 0 a", "gone 3 down 0 a", "" } )
      recallOf( good.substr( 0, good.size() - lines.size() ) + line + '\n' + lines, three,
                line + '\n' );
   std::string later = good;
   ++later[ std::strlen( "ufdd-held " ) ];
   for ( std::string const& record : { later, lines } )
      recallOf( record, {}, record );
   std::string former = good;
   former.insert( former.find( "netns " ) + std::strlen( "netns " ), "9" );
   recallOf( former, {}, "" );
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
   EXPECT_TRUE( file->isLost() );
   EXPECT_EQ( file->remember( three ), 0 );
   EXPECT_FALSE( file->isLost() );
   std::vector< UnreadRecord > const found = file->takeUnread();
   ASSERT_EQ( found.size(), 1U );
   EXPECT_TRUE( another.ends_with( found[ 0 ].text ) && !found[ 0 ].text.empty() );
   EXPECT_EQ( file->recall(), three );
}

// Calls test() with the directory on a file system of that size.
template < class Test >
void
onDisk( std::string const& path, std::string const& size, Test test ) {
   bool isMounted = false;
   std::thread( [ & ] {
      isMounted = unshare( CLONE_NEWNS ) == 0 &&
                  mount( "", "/", "", MS_REC | MS_PRIVATE, nullptr ) == 0 &&
                  mount( "", path.c_str(), "tmpfs", 0, ( "mode=700,size=" + size ).c_str() ) == 0;
      if ( isMounted )
         test();
   } ).join();
   if ( !isMounted )
      GTEST_SKIP() << "no file system can be mounted here";
}

TEST_F( OwnedLinkFileTest, fullDiskLeavesTheRecordTrue ) {
   Keeper nowhere( directory.path() + "/no/such" );
   EXPECT_EQ( nowhere->remember( three ), ENOENT );
   std::filesystem::create_directory( directory.path() + "/no" );
   EXPECT_EQ( nowhere->remember( three ), 0 );
   auto const fill = [ & ] {
      std::ofstream( directory.path() + "/other" ) << std::string( 1 << 20, 'x' );
   };
   OwnedLinks many{ three[ 1 ], three[ 2 ] };
   many[ 1 ].name = InterfaceName( "eth9" );
   for ( std::uint32_t index = 100; index < 1100; ++index )
      many.push_back( { index, InterfaceName( "a-name-of-15byt" ) } );
   onDisk( directory.path(), "8k", [ & ] {
      EXPECT_EQ( Keeper( directory.path() )->remember( three ), 0 );
      fill();
      Keeper file( directory.path() );
      EXPECT_EQ( file->remember( many ), ENOSPC );
      EXPECT_EQ( file->recall(), ( OwnedLinks{ three[ 1 ], three[ 2 ] } ) )
          << "opened links are removed; an old name is better than none";
      EXPECT_EQ( file->remember( OwnedLinks{ three[ 2 ] } ), 0 ) << "forgetting takes no room";
      EXPECT_EQ( file->recall(), OwnedLinks{ three[ 2 ] } );
   } );
   // The room for a batch was reserved while there was some, and is there again after each.
   onDisk( directory.path(), "256k", [ & ] {
      Keeper file( directory.path() );
      EXPECT_EQ( file->remember( {} ), 0 );
      fill();
      for ( int i = 0; i < 9; ++i ) {
         file->add( many );
         EXPECT_EQ( file->recall(), many );
         EXPECT_EQ( file->remember( many ), 0 );
         EXPECT_EQ( file->remember( {} ), 0 );
      }
      EXPECT_EQ( file->recall(), OwnedLinks() );
   } );
}

} // namespace
} // namespace Ufdd
