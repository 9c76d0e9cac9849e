#pragma once

#include "auth/COIDCToken.h"

#include <cstdint>

namespace tool {

enum class TokenKind : std::uint8_t { access, id };

/// Prints the token of this kind, or with `json` an object of that token, its expiry and its
/// scopes, as one line.
void printToken(auth::COIDCToken token, TokenKind kind, bool json);

}  // namespace tool
