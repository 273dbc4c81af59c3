#pragma once

#include "agent/base/Descriptor.h"
#include "agent/ports/Ownership.h"

#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// The file "held" in a directory, which is locked for as long as this exists: two processes that
// shut the same ports would never agree. What has to be as it was comes first, then a line for
// each:
//
//    boot 6b1e9d3c-4b0b-4b53-9a0e-0f9c4b7a3a55
//    netns 4026531840
//    held 7 down 2a1b2c3d4e5 eth1
//    held 9 protodown:5 2a1b2c3d4e6 eth2
//    overridden 11 down 2a1b2c3d4e7 eth3
//
// Lines are added in one piece, for ports wait to be shut meanwhile, and struck out by writing over
// their first letters, which takes no room; now and then the file is replaced as a whole. A reader
// never finds half of one, and leaves out half of a line.
class OwnershipFile final : public Ownership {
 public:
   static constexpr char const* usualDirectory = "/run/ufdd";

   // Makes the directory if there is none. Where that can't be done, nothing is recalled, and
   // remember() tries again, as it does when the directory was removed meanwhile. One that has such
   // a file by then is left alone.
   // Throws: std::system_error when another process has it.
   explicit OwnershipFile( std::string path );
   ~OwnershipFile() override;
   OwnershipFile( OwnershipFile const& ) = delete;
   OwnershipFile& operator=( OwnershipFile const& ) = delete;

   std::vector< Holding > recall() override;
   void add( std::span< Holding const > holdings ) override;
   int remember( std::span< Holding const > holdings ) override;
   std::string place() const override { return path_ + "/held"; }

 private:
   // The results are errno values.
   int openDirectory( Descriptor& opened ) const;
   int openDirectoryAgain();
   int replace( std::string const& text );
   int amend( std::string const& wanted );
   int extend( std::string_view lines );
   int strikeOut( std::size_t place );
   int cut( std::size_t size );
   // False when there is none, or one of another epoch.
   bool openFormer();

   std::string const path_; // Of the directory.
   Descriptor directory_;
   std::string const epoch_; // The first two lines: what else has to be as it was.
   Descriptor file_;         // Once it was written or is to be amended.
   std::string text_;        // What is in it.
};

} // namespace Ufdd
