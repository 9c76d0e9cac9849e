#pragma once

#include "auth/COIDCToken.h"

#include <cpprest/json.h>

#include <optional>
#include <string>

namespace tool {

/// The version of the credential that kubectl asks its plugin for, by the variable
/// KUBERNETES_EXEC_INFO; the newest where nobody asks. Throws UsageError for one that we do not
/// know.
std::string execCredentialVersion();

/// What such a plugin prints.
web::json::value execCredential(const std::string& version, const std::string& token,
                                const std::optional<auth::COIDCToken::TimePoint>& expiry);

}  // namespace tool
