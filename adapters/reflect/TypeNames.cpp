#include "adapters/reflect/TypeNames.h"

namespace Reflect {

// One object, so that no optimisation reorders the names.
[[gnu::section( ".zet.type" ), gnu::used]] TypeNames typeNames;

} // namespace Reflect
