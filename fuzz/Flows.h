#pragma once

#include "auth/COIDCAuthClientCredentials.h"
#include "auth/COIDCAuthHybrid.h"
#include "auth/detail/Jwt.h"
#include "fuzz/Documented.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>

namespace fuzz {

/// A token signed with the provider's key, for any header and payload. The key is new in every
/// process, so that no input can contain a valid signature.
std::string signedToken(std::string_view header, std::string_view payload);

// Configured by that provider, once: the first call must come before answers are replayed.

auth::COIDCAuthClientCredentials& clientCredentials();
auth::COIDCAuthHybrid& hybridFlow();

/// As completes() with the exceptions of the JWT library, and the one for text that is not UTF-8.
template <class... More, class Action>
bool completesWithTokens(const Action& action) {
    return completes<More..., std::runtime_error, std::invalid_argument, std::logic_error,
                     std::overflow_error, std::bad_cast, std::range_error,
                     jwt::error::invalid_json_exception, jwt::error::claim_not_present_exception,
                     jwt::error::token_verification_exception,
                     jwt::error::signature_verification_exception>(action);
}

}  // namespace fuzz
