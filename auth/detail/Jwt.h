#pragma once

#include "auth/detail/Log.h"
#include "host/CString.h"

#include <cpprest/json.h>
#include <jwt-cpp/jwt.h>

#include <chrono>
#include <optional>
#include <string>

namespace auth::detail {

using DecodedJwt = jwt::decoded_jwt<jwt::traits::kazuho_picojson>;

/// The parts of a compact JWT (RFC 7519); nothing of it is verified. Malformed text raises the JWT
/// library's exceptions, and so does text of more than 65,536 characters: what that library does
/// with deeply nested JSON must not be up to whoever sends it.
DecodedJwt decodeJwt(const CString& text);

/// The key's public half as PEM text: a certificate of "x5c", or made of the RSA components
/// (RFC 7517, RFC 7518 section 6.3). Nothing, and a log line, for a key that has neither; a "x5c"
/// that is no array raises the JSON library's exception.
std::optional<std::string> publicKeyText(const web::json::value& jwk, const LoggerPtr& logger);

/// Verifies the signature (RS256) and the time claims at this moment. A time of issue may lie ahead
/// by `issueLeeway`. Throws the JWT library's exceptions.
void verifyJwt(const DecodedJwt& token, const jwt::algorithm::rs256& key,
               std::chrono::seconds issueLeeway);

/// A token is refused because of that claim, or of that member of its header.
Error refusal(const char* text, const DecodedJwt& token, const std::string& missedClaim);

}  // namespace auth::detail
