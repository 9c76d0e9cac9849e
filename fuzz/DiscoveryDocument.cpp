#include "auth/COIDCAuthClientCredentials.h"
#include "auth/COIDCAuthHybrid.h"
#include "auth/detail/Error.h"
#include "fuzz/Documented.h"
#include "fuzz/Provider.h"
#include "tests/support/HybridFlow.h"

#include <cpprest/http_client.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

// The input is the provider's answer: a content type, a newline, a configuration. If it is
// accepted, a token is requested, so that the token endpoint's address is used, too.

namespace {

using auth::detail::Error;
using fuzz::Answer;

template <class Action>
void tryConfiguration(const Action& action) {
    fuzz::completes<Error, web::http::http_exception, web::json::json_exception, web::uri_exception,
                    std::range_error>(action);
}

void useHybridFlow(const Answer& configuration) {
    fuzz::replay({configuration,
                  fuzz::keySetOf(R"({"kty":"RSA","use":"sig","kid":"key","n":"AQAB","e":"AQAB"})"),
                  {web::http::status_codes::BadRequest, {}, {}}});
    auth::COIDCAuthHybrid flow(fuzz::configUrl, fuzz::logger(), test::flowSettings());
    flow.requestTokenByAuthCodeAsync(fuzz::clientId, "openid", "http://localhost/", "verifier",
                                     "code", Concurrency::cancellation_token::none())
        .get();
}

void useClientCredentials(const Answer& configuration) {
    Answer token;
    token.body = R"({"token_type":"Bearer","access_token":"token","expires_in":60})";
    fuzz::replay({configuration, token});
    auth::COIDCAuthClientCredentials flow(fuzz::configUrl, fuzz::logger(), "client_credentials");
    flow.requestTokenAsync(fuzz::clientId, "secret", "openid",
                           Concurrency::cancellation_token::none())
        .get();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Answer configuration =
        fuzz::answerOf(std::string(reinterpret_cast<const char*>(data), size));
    tryConfiguration([&] { useHybridFlow(configuration); });
    tryConfiguration([&] { useClientCredentials(configuration); });
    return 0;
}
