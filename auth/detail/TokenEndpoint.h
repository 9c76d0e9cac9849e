#pragma once

#include "auth/COIDCToken.h"
#include "auth/detail/FormBody.h"
#include "auth/detail/HttpExchange.h"
#include "auth/detail/Log.h"

#include <cpprest/json.h>

namespace auth::detail {

/// The form POST to the token endpoint (RFC 6749, section 3.2). Only the endpoint's path is used: a
/// query or fragment is dropped.
HttpRequest formRequest(const CString& tokenEndpoint, const FormBody& form);

/// Throws unless the answer's token type is exactly "Bearer".
void requireBearer(const web::json::value& answer, const LoggerPtr& logger);

/// The answer's "expires_in", in seconds. Only the lower 32 bits of an integer count. A fraction is
/// truncated; a fractional number beyond the range of int gives the smallest int, so that the token
/// counts as expired.
int expiresIn(const web::json::value& answer);

/// The time that many seconds from now.
COIDCToken::TimePoint expiry(int expiresInSeconds);

}  // namespace auth::detail
