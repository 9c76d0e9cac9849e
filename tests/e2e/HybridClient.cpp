// What the library does with a code that a person's sign-in has brought, at a real provider:
// HybridClient CONFIG-URL CLIENT-ID SCOPES REDIRECT-URI < {"code", "id_token", "verifier", "nonce"}
// Validates the ID token, redeems the code, refreshes, and tries the used refresh token again.
// Prints what came of it as JSON.

#include "auth/COIDCAuthHybrid.h"
#include "auth/detail/Text.h"
#include "tests/support/HybridFlow.h"

#include <iostream>
#include <string>

namespace {

using auth::detail::decodeJwt;
using auth::detail::fromHttpText;
using auth::detail::toHttpText;

web::json::value asJson(auth::COIDCToken token) {
    auto result = web::json::value::object();
    result["access_token"] = web::json::value::string(toHttpText(token.accessToken()));
    result["id_token"] = web::json::value::string(toHttpText(token.idToken()));
    result["refresh_token"] = web::json::value::string(toHttpText(token.refreshToken()));
    result["scopes"] = web::json::value::string(toHttpText(token.scopes()));
    result["expired"] = web::json::value::boolean(token.willBeExpiredAfter(0));
    return result;
}

web::json::value run(const CString& configUrl, const CString& clientId, const CString& scopes,
                     const CString& redirectUri, const web::json::value& answer) {
    const auto noToken = Concurrency::cancellation_token::none();
    auto result = web::json::value::object();
    auth::COIDCAuthHybrid flow(configUrl, nullptr, test::flowSettings());

    const auto idToken = decodeJwt(fromHttpText(answer.at("id_token").as_string()));
    result["validated"] = web::json::value::boolean(
        flow.validateJwt(idToken) &&
        flow.validateIdTokenClaims(idToken, clientId, answer.at("nonce").as_string()));

    const auto redeemed = flow.requestTokenByAuthCodeAsync(clientId, scopes, redirectUri,
                                                           answer.at("verifier").as_string(),
                                                           answer.at("code").as_string(), noToken)
                              .get();
    result["redeemed"] = asJson(redeemed);
    const auto refresh = [&] {
        return flow.refreshTokenAsync(clientId, scopes, redeemed.refreshToken(), noToken).get();
    };
    result["refreshed"] = asJson(refresh());
    result["replayed"] = web::json::value::string(test::outcome([&] { return refresh(), true; }));
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::vector<CString> arguments(argv + 1, argv + argc);
        std::cout << run(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3),
                         web::json::value::parse(std::cin))
                  << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
