#pragma once

#include "host/CString.h"
#include "platform/Export.h"

#include <cpprest/json.h>

namespace auth::detail {

/// The claims of a compact JWT. Nothing is validated here. Null for any other text, because an
/// access token need not be a JWT. Shared with the command; not installed.
OIDCAUTH_API web::json::value claimsOf(const CString& jwt);

}  // namespace auth::detail
