#pragma once

// A host's own header, whose path is that of one of the library's.
struct ConfigOfTheHost {
   char const* port = "eth1";
};
