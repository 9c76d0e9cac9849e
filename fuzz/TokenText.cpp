#include "fuzz/Flows.h"
#include "fuzz/Provider.h"
#include "fuzz/Require.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// An input without a newline is a token, used unchanged. An input with a newline, which no token
// has, is a header and a payload from which a token is signed with the provider's key: otherwise
// nothing would get past the check of the signature.

namespace {

/// Whether the token is accepted as the provider's.
bool isValid(const std::string& text) {
    using fuzz::completesWithTokens;
    const auth::COIDCAuthHybrid& flow = fuzz::hybridFlow();
    std::optional<auth::detail::DecodedJwt> token;
    if (!completesWithTokens([&] { token = auth::detail::decodeJwt(text); })) {
        return false;
    }
    bool valid = false;
    completesWithTokens([&] { valid = flow.validateJwt(*token); });
    completesWithTokens([&] { flow.validateIdTokenClaims(*token, fuzz::clientId, "nonce"); });
    completesWithTokens([&] { flow.validateAccessTokenClaims(*token, fuzz::clientId); });
    return valid;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t line = input.find('\n');
    if (line != std::string_view::npos) {
        isValid(fuzz::signedToken(input.substr(0, line), input.substr(line + 1)));
    } else {
        fuzz::require(!isValid(std::string(input)));  // forged
    }
    return 0;
}
