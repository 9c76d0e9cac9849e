#pragma once

#include "host/standalone/TokenStoreError.h"
#include "tests/support/Common.h"

#include <gmock/gmock.h>

namespace test {

/// Matches an action that a store refuses with this text in its reason.
inline auto fails(const std::string& text = {}) {
    return ::testing::ThrowsMessage<standalone::TokenStoreError>(::testing::HasSubstr(text));
}

}  // namespace test
