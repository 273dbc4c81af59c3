#include "adapters/reflect/TypeNames.h"

namespace Reflect {

// One object, so that no optimisation orders the names otherwise.
[[gnu::section( ".zet.type" ), gnu::used]] TypeNames typeNames;

} // namespace Reflect
