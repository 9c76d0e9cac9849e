#pragma once

#include "auth/COIDCToken.h"
#include "auth/detail/Claims.h"

#include <cpprest/json.h>

#include <optional>
#include <string>

namespace tool {

using auth::detail::claimsOf;

/// A claim in seconds since 1970 (RFC 7519); empty if it is not a time.
std::optional<auth::COIDCToken::TimePoint> timeClaim(const web::json::value& claims,
                                                     const utility::string_t& name);

/// The name of the user: one for people if the ID token has one.
std::string userOf(const auth::COIDCToken& token);

}  // namespace tool
