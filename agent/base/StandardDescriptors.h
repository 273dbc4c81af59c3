#pragma once

namespace Ufdd {

// Opens /dev/null, with those flags of open(), in the place of each of standard input, output and
// error that is closed: what is opened next would have that place, and be written to as such.
void fillStandardDescriptors( int flags );

} // namespace Ufdd
