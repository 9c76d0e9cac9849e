#include "tests/support/CapturedLog.h"
#include "tests/support/HybridFlow.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using auth::testing::Endpoint;
using auth::testing::SigningKey;
using auth::testing::TestProvider;
using test::LogLine;
using ::testing::HasSubstr;

TEST(HybridConfiguration, AsksForConfigurationAndKeysOnOneConnection) {
    const TestProvider provider;
    const auto log = std::make_shared<test::CapturedLog>();
    test::hybridFlow(provider, test::CapturedLog::loggerTo(log));
    const auto requests = provider.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].target, "/.well-known/openid-configuration");
    EXPECT_EQ(requests[1].method + ' ' + requests[1].target, "GET /jwks");
    EXPECT_EQ(requests[1].body, "");
    EXPECT_EQ(requests[0].connection, requests[1].connection);
    EXPECT_EQ(log->lines(), (std::vector<LogLine>{
                                {2, "Receiving and validating OIDC configuration..."},
                                {2, "Receiving signatures..."},
                                {2, "OIDC configuration received and validated successfully."},
                            }));
}

struct Refusal {
    const char* name;
    std::function<void(TestProvider&)> arrange;
    const char* text;         // part of the exception's text
    const char* logged;       // the one line at level 4, or ""
    std::size_t keyRequests;  // none once the configuration is refused
};

std::vector<Refusal> configurationRefusals() {
    const auto set = [](const char* name, const char* json) {
        return [=](TestProvider& p) { p.setMember(Endpoint::Discovery, name, json); };
    };
    const auto remove = [](const char* name) {
        return [=](TestProvider& p) { p.removeMember(Endpoint::Discovery, name); };
    };
    const char* const grantText = "requested grant types are not supported";
    const char* const grantLine = "Requested grant type is not supported.";
    return {
        {"no key set", remove("jwks_uri"), "Key not found", "", 0},
        {"no scopes", remove("scopes_supported"), "Key not found", "", 0},
        {"no response modes", remove("response_modes_supported"), "Key not found", "", 0},
        {"algorithms as text", set("id_token_signing_alg_values_supported", R"("RS256")"),
         "not an array", "", 0},
        {"words of the response type in other order",
         set("response_types_supported", R"(["id_token code", "code"])"),
         "requested response type is not supported", "Requested response type is not supported.",
         0},
        {"response type before grant types",
         [=](auto& p) {
             set("response_types_supported", "[]")(p);
             set("grant_types_supported", "[]")(p);
         },
         "requested response type is not supported", "Requested response type is not supported.",
         0},
        {"no refresh", set("grant_types_supported", R"(["authorization_code"])"), grantText,
         grantLine, 0},
        {"nothing but refresh", set("grant_types_supported", R"(["refresh_token"])"), grantText,
         grantLine, 0},
        {"response mode", set("response_modes_supported", R"(["Form_Post", "query"])"),
         "requested response mode is not supported", "Requested response mode is not supported.",
         0},
        {"algorithm", set("id_token_signing_alg_values_supported", R"(["ES256", "RS384"])"),
         "requested token signature type is not supported",
         "Requested signature type is not supported.", 0},
    };
}

std::vector<Refusal> keySetRefusals() {
    const auto document = [](const char* keys) {
        return [=](TestProvider& p) {
            p.setDocument(Endpoint::Keys, std::string(R"({"keys": [)") + keys + "]}");
        };
    };
    const auto type = [](const char* contentType) {
        return [=](TestProvider& p) { p.setContentType(Endpoint::Keys, contentType); };
    };
    const char* const noneText = "unable to get proper keys from jwks endpoint";
    const char* const noneLine = "No acceptable jwks signature found.";
    std::vector<Refusal> rows = {
        {"not JSON by its type", type("text/plain"), "Incorrect Content-Type", "", 1},
        {"type in other case", type("Application/JWK-Set+JSON"), "Incorrect Content-Type", "", 1},
        {"no keys", [](auto& p) { p.removeMember(Endpoint::Keys, "keys"); }, "Key not found", "",
         1},
        {"keys as object", [](auto& p) { p.setMember(Endpoint::Keys, "keys", "{}"); },
         "not an array", "", 1},
        {"empty keys", document(""), noneText, noneLine, 1},
        {"type in lower case", document(R"({"kty": "rsa", "use": "sig", "n": "AQ", "e": "AQAB"})"),
         noneText, noneLine, 1},
        {"for encryption", document(R"({"kty": "RSA", "use": "enc", "n": "AQ", "e": "AQAB"})"),
         noneText, noneLine, 1},
        {"elliptic curve", [](auto& p) { p.setSigningKeys({SigningKey::ec("curve")}); }, noneText,
         noneLine, 1},
        {"certificates only", document(R"({"kty": "RSA", "use": "sig", "x5c": ["AAAA"]})"),
         noneText, noneLine, 1},
        {"no exponent", document(R"({"kty": "RSA", "use": "sig", "n": "AQ"})"), noneText, noneLine,
         1},
        {"no type, after a good one",
         [](auto& p) {
             p.setSigningKeys({p.signingKey(), p.signingKey()});
             p.removeKeyMember(1, "kty");
         },
         "Key not found", "", 1},
        {"use is a number", [](auto& p) { p.setKeyMember(0, "use", "1"); }, "not a string", "", 1},
    };
    for (const unsigned status : {201U, 301U, 404U}) {
        rows.push_back({"status", [=](auto& p) { p.redirect(Endpoint::Keys, status, "/jwks"); },
                        "unable to retrieve information from jwks endpoint",
                        "Unable to retrieve information from jwks endpoint.", 1});
    }
    return rows;
}

TEST(HybridConfiguration, RefusesAndAsksNothingFurther) {
    TestProvider provider;
    auto rows = configurationRefusals();
    for (auto& row : keySetRefusals()) {
        rows.push_back(row);
    }
    for (const Refusal& row : rows) {
        SCOPED_TRACE(row.name);
        for (const bool logged : {true, false}) {
            provider.reset();
            row.arrange(provider);
            const auto before = provider.requests().size();
            const auto log = std::make_shared<test::CapturedLog>();
            EXPECT_THAT(test::outcome([&] {
                            return test::hybridFlow(provider, logged
                                                                  ? test::CapturedLog::loggerTo(log)
                                                                  : nullptr) != nullptr;
                        }),
                        HasSubstr(row.text));
            EXPECT_EQ(provider.requests().size() - before, 1 + row.keyRequests);
            EXPECT_EQ(log->textAt(4), logged ? row.logged : "");
        }
    }
}

TEST(HybridConfiguration, TakesKeySetsAsProvidersSendThem) {
    TestProvider provider;
    for (const char* type : {"application/json", "application/jwk-set+json",
                             "application/jwk-set+json; charset=utf-8"}) {
        provider.setContentType(Endpoint::Keys, type);
        EXPECT_NO_THROW(test::hybridFlow(provider)) << type;
    }
}

}  // namespace
