#pragma once

#include "host/CString.h"
#include "platform/Export.h"

#include <cpprest/json.h>

namespace auth::detail {

/// The claims of a compact JWT, as they stand: whoever stored it has validated it, or not. Null for
/// any other text: an access token need be no JWT. Shared with the command; not installed.
OIDCAUTH_API web::json::value claimsOf(const CString& jwt);

}  // namespace auth::detail
