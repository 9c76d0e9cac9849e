#pragma once

#include "auth/COIDCToken.h"
#include "host/CString.h"

#include <cpprest/json.h>

#include <optional>
#include <string>

namespace tool {

/// The claims of a compact JWT, as they stand: whoever stored it has validated it, or not. Null for
/// any other text: an access token need be no JWT.
web::json::value claimsOf(const CString& token);

/// A claim in seconds since 1970 (RFC 7519), where it is one.
std::optional<auth::COIDCToken::TimePoint> timeClaim(const web::json::value& claims,
                                                     const utility::string_t& name);

/// By what a user is known: a name for people if the ID token has one.
std::string userOf(const auth::COIDCToken& token);

}  // namespace tool
