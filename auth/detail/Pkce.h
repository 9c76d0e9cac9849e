#pragma once

#include <cpprest/details/basic_types.h>

#include <cstddef>
#include <vector>

namespace auth::detail {

// Proof Key for Code Exchange (RFC 7636): the verifier stays here until the code is redeemed; only
// its challenge goes through the browser.

utility::string_t makeCodeVerifier(std::size_t byteCount);

/// The S256 method.
utility::string_t makeCodeChallenge(const utility::string_t& codeVerifier);

/// RFC 4648, section 5, without padding.
utility::string_t base64UrlNoPad(const std::vector<unsigned char>& bytes);

}  // namespace auth::detail
