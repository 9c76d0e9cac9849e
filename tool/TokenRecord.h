#pragma once

#include "auth/COIDCToken.h"
#include "tool/RecordStore.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tool {

/// The token in a record, which is not empty; nothing if the bytes are not a token.
std::optional<auth::COIDCToken> tokenIn(const std::vector<std::uint8_t>& bytes);

/// The stored token; nothing if the record is empty or damaged. Throws the exceptions of reading
/// the store.
std::optional<auth::COIDCToken> storedToken(PlainStore& store);

}  // namespace tool
