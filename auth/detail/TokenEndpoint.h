#pragma once

#include "auth/COIDCToken.h"
#include "auth/detail/FormBody.h"
#include "auth/detail/HttpExchange.h"
#include "auth/detail/Log.h"

#include <cpprest/json.h>

namespace auth::detail {

/// The post of a form to the token endpoint (RFC 6749, section 3.2). Only the endpoint's path is
/// called: a query or fragment is left out.
HttpRequest formRequest(const CString& tokenEndpoint, const FormBody& form);

/// Throws unless the answer's token type is "Bearer", in just this case.
void requireBearer(const web::json::value& answer, const LoggerPtr& logger);

/// The answer's "expires_in", in seconds. Of a whole number the lower 32 bits count. One that is
/// not whole is cut; beyond an integer it gives the lowest, so that the token counts as expired.
int expiresIn(const web::json::value& answer);

/// The moment that lies that many seconds from now.
COIDCToken::TimePoint expiry(int expiresInSeconds);

}  // namespace auth::detail
