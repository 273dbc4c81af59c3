#pragma once

#include "agent/base/Descriptor.h"

#include <functional>
#include <string>
#include <string_view>

namespace Ufdd {

// Returns the whole answer to an HTTP request whose head is complete or too long. The metrics are
// at /metrics, and can only be read.
using MetricsPage = std::function< std::string const&() >;
std::string httpAnswer( std::string_view request, MetricsPage const& page );

// One HTTP connection: reads a request, answers it, and closes. Never waits.
class HttpExchange {
 public:
   // The number of bytes that a request may have.
   static constexpr std::size_t requestLimit = 8192;
   // The number of seconds within which the request must come, and within which the answer must be
   // read.
   static constexpr double patience = 5;

   // Requires: the socket does not block.
   explicit HttpExchange( Descriptor socket );

   int fd() const { return socket_.fd(); }
   // The events of poll() at which to call handle().
   short events() const;
   // Reads or writes what it can.
   void handle( MetricsPage const& page );
   // When the connection ends unless it comes further, by Zet::now().
   double deadline() const { return deadline_; }
   // Returns true if the connection has ended: the owner must destroy this.
   bool hasEnded() const;

 private:
   enum class Stage { reading, writing, closing, ended };

   void read( MetricsPage const& page );
   void write();
   void drain();

   Descriptor socket_;
   Stage stage_ = Stage::reading;
   double deadline_;
   std::string request_;
   std::string answer_; // The part that is not written yet.
};

} // namespace Ufdd
