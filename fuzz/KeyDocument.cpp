#include "auth/COIDCAuthHybrid.h"
#include "auth/detail/Error.h"
#include "fuzz/Documented.h"
#include "fuzz/Provider.h"
#include "testing/TestToken.h"
#include "tests/support/HybridFlow.h"

#include <cpprest/http_client.h>
#include <cpprest/json.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

// The input is the provider's answer: a content type, a newline, a key set. A token that names its
// first key makes the library create that key and verify with it.

namespace {

using auth::detail::Error;
using fuzz::Answer;

/// OpenSSL only computes for a signature that is as long as the modulus and less than it; it
/// refuses any other at once.
std::string signatureFor(const std::string& modulus) {
    return modulus.empty() ? "" : 'A' + std::string(modulus.size() - 1, 'B');
}

std::string textMember(const web::json::value& key, const char* name) {
    return key.has_string_field(name) ? key.at(name).as_string() : "";
}

std::optional<std::string> tokenForFirstKey(const std::string& body) {
    std::error_code error;
    const web::json::value document = web::json::value::parse(body, error);
    if (error || !document.has_array_field("keys") || document.at("keys").size() == 0) {
        return std::nullopt;
    }
    const web::json::value& key = document.at("keys").at(0);
    auth::testing::TestToken token;
    token.setHeader("alg", R"("RS256")")
        .setHeader("kid", web::json::value::string(textMember(key, "kid")).serialize());
    return token.unsecured() + signatureFor(textMember(key, "n"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Answer keys = fuzz::answerOf(std::string(reinterpret_cast<const char*>(data), size));
    fuzz::replay({fuzz::goodDiscoveryDocument(), keys});
    std::optional<auth::COIDCAuthHybrid> flow;
    const bool usable = fuzz::completes<Error, web::http::http_exception, web::json::json_exception,
                                        std::range_error>(
        [&] { flow.emplace(fuzz::configUrl, fuzz::logger(), test::flowSettings()); });
    const auto token = usable ? tokenForFirstKey(keys.body) : std::nullopt;
    if (token) {
        fuzz::completes<web::json::json_exception, std::runtime_error, std::invalid_argument,
                        jwt::error::rsa_exception, jwt::error::signature_verification_exception>(
            [&] { flow->validateJwt(auth::detail::decodeJwt(*token)); });
    }
    return 0;
}
