#pragma once

#include <string>
#include <vector>

namespace Ufdd {

// What a word that a user is typing may become.
struct Completion {
   std::vector< std::string > words; // The commands and options that fit.
   // The name of the argument, or the type of the option's value: "GROUP". Empty if neither may
   // stand there.
   std::string value;
   std::string begin; // The first letters of that value, as typed so far.
};

} // namespace Ufdd
