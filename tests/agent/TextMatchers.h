#pragma once

#include <gmock/gmock.h>

namespace Ufdd {

// Matchers of texts, for EXPECT_THAT. A failure shows the text.
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

} // namespace Ufdd
