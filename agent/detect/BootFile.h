#pragma once

#include "agent/base/StateFile.h"
#include "agent/detect/BootStore.h"

namespace Ufdd {

// The file "boot" in the state directory. After the heading of every state file:
//
//    started 1234.567
//    existed eth1
//    up rack 1
//    fallen rack 1
//    passed bfd-spine1
//    failed bfd-spine2
class BootFile final : public BootStore {
 public:
   // Borrows: the directory.
   explicit BootFile( StateDirectory& directory ) : file_( directory, "boot", 1 ) {}

   // Recalls nothing from a file that can't be read, as after a boot: the startup_hold runs, and
   // uplinks that are gone by now count as unproven. The next remember() replaces the file.
   std::optional< BootRecord > recall() override;
   int remember( BootRecord const& record ) override;
   bool isLost() const override { return file_.isLost(); }
   std::string place() const override { return file_.place(); }

 private:
   StateFile file_;
};

} // namespace Ufdd
