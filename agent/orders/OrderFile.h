#pragma once

#include "agent/base/StateFile.h"
#include "agent/orders/OrderStore.h"

namespace Ufdd {

// The file "orders" in the state directory, with a line for each entry below the heading of every
// state file. A file that can't be read whole is kept as "orders.unreadable-1", and what can be
// read of it is recalled.
class OrderFile final : public OrderStore {
 public:
   // Borrows: the directory.
   explicit OrderFile( StateDirectory& directory )
       : directory_( directory ), file_( directory, fileName, 1 ) {}

   Recollection recall() override;
   int remember( OrderBook const& book ) override;
   bool isLost() const override { return file_.isLost(); }
   std::string place() const override { return file_.place(); }

 private:
   static constexpr char const* fileName = "orders";

   std::string keepAside( std::string const& problem );

   StateDirectory& directory_;
   StateFile file_;
   bool isLeftAlone_ = false; // The file can't be read, and can't be kept aside either.
};

} // namespace Ufdd
