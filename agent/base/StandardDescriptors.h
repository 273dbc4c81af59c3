#pragma once

namespace Ufdd {

// Opens /dev/null, with those flags of open(), for each of standard input, standard output and
// standard error that is closed: the next file opened would get its number and its output.
void fillStandardDescriptors( int flags );

} // namespace Ufdd
