#pragma once

#include "auth/COIDCToken.h"

#include <cpprest/json.h>

#include <string>

namespace tool {

/// The parts of the token in `store` that may be shown: everything but the secrets.
web::json::value reportOf(auth::COIDCToken token, const std::string& store);

/// The same for people.
std::string textOf(auth::COIDCToken token, const std::string& store);

}  // namespace tool
