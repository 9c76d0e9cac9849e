#pragma once

#include "auth/COIDCToken.h"

#include <ostream>

namespace tool {

/// Writes the access token, or with `json` an object of token, expiry and scopes, as one line.
/// Throws when the output takes no more.
void printToken(auth::COIDCToken token, bool json, std::ostream& out);

}  // namespace tool
