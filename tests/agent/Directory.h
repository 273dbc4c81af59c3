#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace Ufdd {

// A temporary directory in memory, like /run. The destructor removes it with all files in it.
class Directory {
 public:
   Directory() {
      if ( !mkdtemp( path_.data() ) )
         std::abort();
   }
   ~Directory() {
      std::error_code ignored;
      std::filesystem::remove_all( path_, ignored );
   }
   Directory( Directory const& ) = delete;
   Directory& operator=( Directory const& ) = delete;

   std::string const& path() const { return path_; }

 private:
   std::string path_ = "/dev/shm/ufdd-test-XXXXXX";
};

// Returns the text of a file; empty if there is none.
inline std::string
contentOf( std::string const& path ) {
   std::ifstream file( path );
   return { std::istreambuf_iterator( file ), {} };
}

} // namespace Ufdd
