#include "platform/zet/Expect.h"

namespace Zet {

Expect const* Expect::innermost_ = nullptr;

} // namespace Zet
