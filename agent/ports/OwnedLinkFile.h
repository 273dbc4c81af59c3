#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/StateDirectory.h"
#include "agent/base/StateFile.h"
#include "agent/ports/OwnedLinkStore.h"

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ufdd {

// The file "held" in the state directory. A line for each link follows the heading:
//
//    ufdd-held 2
//    boot 6b1e9d3c-4b0b-4b53-9a0e-0f9c4b7a3a55
//    netns 4026531840
//    held 7 down 2a1b2c3d4e5 eth1
//    #eld 9 protodown:5 2a1b2c3d4e6 eth2
//    overridden 11 down 2a1b2c3d4e7 eth3
//
// Lines are added with one write, since ports wait to be shut meanwhile. A line that is no longer
// valid is struck out by a "#" over its first letter, which takes no room. Now and then the whole
// file is replaced. Room for many more lines is reserved behind its end, so that a disk that gets
// full later loses no line.
//
// A writer that is killed leaves nothing worse than half a line at the end. Its link was not shut
// yet, so a reader ignores it. Any other line that can't be read is damage, or of a later ufdd: the
// readable lines are recalled, and the file is kept as "held.unreadable-1".
class OwnedLinkFile final : public OwnedLinkStore {
 public:
   // If there is no directory, nothing is recalled and remember() tries to make it, as it does
   // after the directory was removed. If a new directory has such a file already, that is kept
   // aside.
   explicit OwnedLinkFile( StateDirectory& directory );
   ~OwnedLinkFile() override;
   OwnedLinkFile( OwnedLinkFile const& ) = delete;
   OwnedLinkFile& operator=( OwnedLinkFile const& ) = delete;

   std::vector< OwnedLink > recall() override;
   void add( std::span< OwnedLink const > links ) override;
   int remember( std::span< OwnedLink const > links ) override;
   std::vector< UnreadRecord > takeUnread() override { return std::exchange( unread_, {} ); }
   bool isLost() override;
   std::string place() const override { return format_.place(); }
   std::string explain( int error ) const override;

 private:
   // Adds to `links` what the lines say. Returns the lines that can't be read.
   static std::string read( StateFile::Content const& content, std::vector< OwnedLink >& links );
   void keepAside( std::string const& problem, std::string const& text );
   // Returns false when there is no record, or one of another epoch or version.
   bool openFormer();
   // Returns true if the file is open, and nobody has removed it as far as is known. Makes one
   // system call at most, since ports may be waiting to be shut.
   bool isOpen() const;
   bool isEmpty() const;
   // Reserves room behind the text where there is less than half of it.
   void reserve();
   // These return errno values.
   int replace( std::string const& text );
   int amend( std::string const& wanted );
   int extend( std::string_view lines );
   int strikeOut( std::span< std::size_t const > places );
   int cut( std::size_t size );

   StateDirectory& directory_;
   StateFile const format_; // Reads records, and knows their heading.
   std::vector< UnreadRecord > unread_;
   bool isLeftAlone_ = false; // The file in place can't be read, and can't be kept aside either.
   bool isLost_ = false;      // isLost() has found that the file is not in its place.
   Descriptor file_;          // Open once it was written or is to be amended.
   std::string text_;         // The file's content.
   std::size_t reserved_ = 0; // The size up to which the file has room.
};

} // namespace Ufdd
