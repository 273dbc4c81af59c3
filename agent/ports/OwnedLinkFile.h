#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/StateDirectory.h"
#include "agent/ports/OwnedLinkStore.h"

#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// The file "held" in the state directory. Two lines say for which boot and network namespace
// the record holds; a line for each link follows:
//
//    boot 6b1e9d3c-4b0b-4b53-9a0e-0f9c4b7a3a55
//    netns 4026531840
//    held 7 down 2a1b2c3d4e5 eth1
//    held 9 protodown:5 2a1b2c3d4e6 eth2
//    overridden 11 down 2a1b2c3d4e7 eth3
//
// Lines are added with one write, since ports wait to be shut meanwhile, and struck out by writing
// over their first letters, which needs no room on the disk; now and then the whole file is
// replaced. A reader never finds half a file, and ignores half a line.
class OwnedLinkFile final : public OwnedLinkStore {
 public:
   // If there is no directory, nothing is recalled and remember() tries to make it, as it does
   // after the directory was removed. A directory that has got such a file meanwhile is left alone.
   explicit OwnedLinkFile( StateDirectory& directory );
   ~OwnedLinkFile() override;
   OwnedLinkFile( OwnedLinkFile const& ) = delete;
   OwnedLinkFile& operator=( OwnedLinkFile const& ) = delete;

   std::vector< OwnedLink > recall() override;
   void add( std::span< OwnedLink const > links ) override;
   int remember( std::span< OwnedLink const > links ) override;
   std::string place() const override { return directory_.path() + "/held"; }

 private:
   // These return errno values.
   int replace( std::string const& text );
   int amend( std::string const& wanted );
   int extend( std::string_view lines );
   int strikeOut( std::size_t place );
   int cut( std::size_t size );
   // Returns false when there is no record, or one of another epoch.
   bool openFormer();

   StateDirectory& directory_;
   std::string const& epoch_; // The first two lines: this boot and network namespace.
   bool isAnothers_ = false;  // The directory was made again, and has got another ufdd's file.
   Descriptor file_;          // Open once it was written or is to be amended.
   std::string text_;         // The file's content.
};

} // namespace Ufdd
