#pragma once

#include "auth/COIDCToken.h"

#include <cpprest/json.h>

#include <optional>
#include <string>

namespace tool {

/// The version of the credential that kubectl requests in the variable KUBERNETES_EXEC_INFO; the
/// newest if it is not set. Throws UsageError for an unknown version.
std::string execCredentialVersion();

/// The object that such a plugin prints.
web::json::value execCredential(const std::string& version, const std::string& token,
                                const std::optional<auth::COIDCToken::TimePoint>& expiry);

}  // namespace tool
