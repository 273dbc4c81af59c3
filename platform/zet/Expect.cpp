#include "platform/zet/Expect.h"

namespace Zet {

Expect const* Expect::innermost_ = nullptr;
constinit Expect::Immortal const Expect::any_;

} // namespace Zet
