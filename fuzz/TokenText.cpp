#include "auth/COIDCAuthHybrid.h"
#include "fuzz/Documented.h"
#include "fuzz/Provider.h"
#include "testing/SigningKey.h"
#include "testing/detail/Text.h"
#include "tests/support/HybridFlow.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>

// An input without a newline is a token as it came. One with a newline, which no token has, is a
// header and a payload, from which a token is made that the provider's key signs: nothing else
// reaches what lies behind the check of the signature.

namespace {

using auth::testing::detail::base64url;

// Short, for the sake of speed: nobody attacks it.
constexpr unsigned keyBits = 1024;

const auth::testing::SigningKey& providersKey() {
    static const auto key = auth::testing::SigningKey::rsa(fuzz::keyId, keyBits);
    return key;
}

const auth::COIDCAuthHybrid& flow() {
    static const auto flow = [] {
        fuzz::replay({fuzz::goodDiscoveryDocument(),
                      fuzz::keySetOf(auth::testing::detail::object(providersKey().members()))});
        return std::make_unique<auth::COIDCAuthHybrid>(fuzz::configUrl, fuzz::logger(),
                                                       test::flowSettings());
    }();
    return *flow;
}

std::string signedToken(std::string_view header, std::string_view payload) {
    const std::string signedPart = base64url(header) + '.' + base64url(payload);
    return signedPart + '.' + base64url(providersKey().sign("RS256", signedPart));
}

template <class Action>
bool completes(const Action& action) {
    // Those of the JWT library, and of text that is not UTF-8.
    return fuzz::completes<
        std::runtime_error, std::invalid_argument, std::logic_error, std::overflow_error,
        std::bad_cast, std::range_error, jwt::error::invalid_json_exception,
        jwt::error::claim_not_present_exception, jwt::error::token_verification_exception,
        jwt::error::signature_verification_exception>(action);
}

/// Whether the token is accepted as one of the provider.
bool isValid(const std::string& text) {
    std::optional<auth::detail::DecodedJwt> token;
    if (!completes([&] { token = auth::detail::decodeJwt(text); })) {
        return false;
    }
    bool valid = false;
    completes([&] { valid = flow().validateJwt(*token); });
    completes([&] { flow().validateIdTokenClaims(*token, fuzz::clientId, "nonce"); });
    completes([&] { flow().validateAccessTokenClaims(*token, fuzz::clientId); });
    return valid;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t line = input.find('\n');
    if (line != std::string_view::npos) {
        isValid(signedToken(input.substr(0, line), input.substr(line + 1)));
    } else if (isValid(std::string(input))) {
        std::abort();  // forged: the key is made anew with every start
    }
    return 0;
}
