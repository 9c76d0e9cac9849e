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

/// Splits a compact JWT (RFC 7519) into its parts; nothing is verified. Malformed text raises the
/// JWT library's exceptions, and so does text of more than 65,536 characters: the sender must not
/// control what that library does with deeply nested JSON.
DecodedJwt decodeJwt(const CString& text);

/// The public key as PEM text: a certificate from "x5c", or a key made from the RSA components (RFC
/// 7517, RFC 7518 section 6.3). If the key has neither, returns nothing and logs; an "x5c" that is
/// not an array raises the JSON library's exception.
std::optional<std::string> publicKeyText(const web::json::value& jwk, const LoggerPtr& logger);

/// Verifies the signature (RS256) and the time claims against the current time. iat may lie ahead
/// by `issueLeeway`. Throws the JWT library's exceptions.
void verifyJwt(const DecodedJwt& token, const jwt::algorithm::rs256& key,
               std::chrono::seconds issueLeeway);

/// The error for a token that is refused because of that claim or header member.
Error refusal(const char* text, const DecodedJwt& token, const std::string& missedClaim);

}  // namespace auth::detail
