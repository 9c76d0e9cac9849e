#pragma once

#include "auth/COIDCToken.h"

#include <cpprest/json.h>

#include <string>

namespace tool {

/// What may be shown of a token that is kept in `store`: everything but the secrets.
web::json::value reportOf(auth::COIDCToken token, const std::string& store);

/// The same for people.
std::string textOf(auth::COIDCToken token, const std::string& store);

}  // namespace tool
