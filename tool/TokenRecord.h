#pragma once

#include "auth/COIDCToken.h"
#include "tool/RecordStore.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tool {

/// The token in the bytes of a record, which are not empty; nothing where they hold none.
std::optional<auth::COIDCToken> tokenIn(const std::vector<std::uint8_t>& bytes);

/// The token that is stored, or nothing where the record is empty or damaged. Throws what reading
/// the store throws.
std::optional<auth::COIDCToken> storedToken(PlainStore& store);

}  // namespace tool
