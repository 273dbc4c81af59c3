#pragma once

#include "agent/base/StateFile.h"
#include "agent/ports/PortSettingsStore.h"

#include <string>
#include <utility>
#include <vector>

namespace Ufdd {

// The file "settings" in the state directory. A line for each address and route follows the
// heading: whether it is owed or present, the link's index, hardware address and name, and the
// attributes as the kernel told them.
//
//    owed 7 2a1b2c3d4e5 eth1 address 0a40800007000000140001...
//    present 9 2a1b2c3d4e6 eth2 route 02100000fe030001000000...
//
// A damaged file, or one of a later ufdd, is kept as "settings.unreadable-1".
class PortSettingsFile final : public PortSettingsStore {
 public:
   explicit PortSettingsFile( StateDirectory& directory )
       : directory_( directory ), file_( directory, fileName, 1 ) {}

   std::vector< PortSettings > recall() override;
   std::string takeTrouble() override { return std::exchange( trouble_, {} ); }
   // Records the owed ones first, and leaves out what the file has no room for: EFBIG then.
   int remember( std::span< PortSettings const > all ) override;
   bool isLost() override { return file_.isLost(); }
   std::string place() const override { return file_.place(); }

 private:
   static constexpr char const* fileName = "settings";

   void keepAside( std::string const& problem );

   StateDirectory& directory_;
   StateFile file_;
   std::string trouble_;
};

} // namespace Ufdd
