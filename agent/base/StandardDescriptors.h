#pragma once

namespace Ufdd {

// Opens /dev/null, with those flags of open(), in place of each of standard input, standard output
// and standard error that is closed. Otherwise the next file opened would get that number, and
// with it whatever is written there.
void fillStandardDescriptors( int flags );

} // namespace Ufdd
