#include "fuzz/Flows.h"

#include "fuzz/Provider.h"
#include "testing/SigningKey.h"
#include "testing/detail/Text.h"
#include "tests/support/HybridFlow.h"

#include <memory>

namespace fuzz {

namespace {

using auth::testing::SigningKey;
using auth::testing::detail::base64url;

// Short for speed: nobody attacks it.
constexpr unsigned keyBits = 1024;

const SigningKey& providersKey() {
    static const auto key = SigningKey::rsa(keyId, keyBits);
    return key;
}

}  // namespace

std::string signedToken(std::string_view header, std::string_view payload) {
    const std::string signedPart = base64url(header) + '.' + base64url(payload);
    return signedPart + '.' + base64url(providersKey().sign("RS256", signedPart));
}

auth::COIDCAuthClientCredentials& clientCredentials() {
    static const auto flow = [] {
        replay({goodDiscoveryDocument()});
        return std::make_unique<auth::COIDCAuthClientCredentials>(configUrl, logger(),
                                                                  "client_credentials");
    }();
    return *flow;
}

auth::COIDCAuthHybrid& hybridFlow() {
    static const auto flow = [] {
        replay({goodDiscoveryDocument(),
                keySetOf(auth::testing::detail::object(providersKey().members()))});
        return std::make_unique<auth::COIDCAuthHybrid>(configUrl, logger(), test::flowSettings());
    }();
    return *flow;
}

}  // namespace fuzz
