#pragma once

#include "auth/COIDCToken.h"

#include <cstdint>
#include <string>

namespace tool {

enum class TokenKind : std::uint8_t { access, id };

/// Whether it can be sent as a bearer token (RFC 6750, section 2.1): with a line end in it, for
/// one, who pastes it into a request would send headers that the provider chose.
bool isBearerToken(const std::string& token);

/// Prints the token of this kind, or with `json` an object of that token, its expiry and its
/// scopes, as one line. Throws std::runtime_error for what is no bearer token.
void printToken(auth::COIDCToken token, TokenKind kind, bool json);

}  // namespace tool
