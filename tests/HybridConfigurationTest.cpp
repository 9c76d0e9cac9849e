#include "tests/support/Refusals.h"

namespace {

using auth::testing::SigningKey;
using namespace test;

constexpr auto discovery = Endpoint::Discovery;

TEST(HybridConfiguration, AsksForConfigurationAndKeysOnOneConnection) {
    const TestProvider provider;
    const auto log = std::make_shared<CapturedLog>();
    hybridFlow(provider, CapturedLog::loggerTo(log));
    const auto requests = provider.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].target, "/.well-known/openid-configuration");
    EXPECT_EQ(requests[1].method + ' ' + requests[1].target, "GET /jwks");
    EXPECT_EQ(requests[1].body, "");
    EXPECT_EQ(requests[0].connection, requests[1].connection);
    EXPECT_THAT(log->lines(),
                ::testing::ElementsAre(
                    "2 Receiving and validating OIDC configuration...", "2 Receiving signatures...",
                    "2 OIDC configuration received and validated successfully."));
}

std::vector<Refusal> configurationRefusals() {
    const std::string typeText = "requested response type is not supported";
    const std::string typeLine = "Requested response type is not supported.";
    std::vector<Refusal> rows = {
        {"algorithms as text",
         member(discovery, "id_token_signing_alg_values_supported", R"("RS256")"), "not an array"},
        {"words of the response type in other order",
         member(discovery, "response_types_supported", R"(["id_token code", "code"])"), typeText,
         typeLine},
        {"response type before grant types",
         both(member(discovery, "response_types_supported", "[]"),
              member(discovery, "grant_types_supported", "[]")),
         typeText, typeLine},
    };
    for (const char* const name : {"issuer", "authorization_endpoint", "token_endpoint", "jwks_uri",
                                   "scopes_supported", "response_modes_supported"}) {
        rows.push_back({name, noMember(discovery, name), "Key not found"});
    }
    struct List {
        std::string name;
        std::string others;
        std::string needed;
        std::string text;
        std::string line;
    };
    const std::string grantText = "requested grant types are not supported";
    const std::string grantLine = "Requested grant type is not supported.";
    for (const List& list : std::vector<List>{
             {"response_types", "code", "code id_token", typeText, typeLine},
             {"grant_types", "refresh_token", "authorization_code", grantText, grantLine},
             {"grant_types", "authorization_code", "refresh_token", grantText, grantLine},
             {"response_modes", "query", "form_post", "requested response mode is not supported",
              "Requested response mode is not supported."},
             {"id_token_signing_alg_values", "ES256", "RS256",
              "requested token signature type is not supported",
              "Requested signature type is not supported."}}) {
        for (const auto& [name, edit] : nearMisses()) {
            const std::string json = "[\"" + list.others + "\", \"" + edit(list.needed) + "\"]";
            rows.push_back({list.name + json, member(discovery, list.name + "_supported", json),
                            list.text, list.line});
        }
    }
    return rows;
}

std::vector<Refusal> keySetRefusals() {
    const auto document = [](const std::string& keys) {
        return [=](auto& p) { p.setDocument(Endpoint::Keys, R"({"keys": [)" + keys + "]}"); };
    };
    const auto key = [](const std::string& name, const std::string& json) {
        return [=](auto& p) { p.setKeyMember(0, name, json); };
    };
    const std::string noneText = "unable to get proper keys from jwks endpoint";
    const std::string noneLine = "No acceptable jwks signature found.";
    std::vector<Refusal> rows = {
        {"type in other case",
         [](auto& p) { p.setContentType(Endpoint::Keys, "Application/JWK-Set+JSON"); },
         "Incorrect Content-Type"},
        {"no keys", noMember(Endpoint::Keys, "keys"), "Key not found"},
        {"keys as object", member(Endpoint::Keys, "keys", "{}"), "not an array"},
        {"empty keys", document(""), noneText, noneLine},
        {"elliptic curve", [](auto& p) { p.setSigningKeys({SigningKey::ec("curve")}); }, noneText,
         noneLine},
        {"certificates only", document(R"({"kty": "RSA", "use": "sig", "x5c": ["AAAA"]})"),
         noneText, noneLine},
        {"no exponent", document(R"({"kty": "RSA", "use": "sig", "n": "AQ"})"), noneText, noneLine},
        {"no modulus", document(R"({"kty": "RSA", "use": "sig", "e": "AQAB"})"), noneText,
         noneLine},
        {"no type, after a good one",
         [](auto& p) {
             p.setSigningKeys({p.signingKey(), p.signingKey()});
             p.removeKeyMember(1, "kty");
         },
         "Key not found"},
        {"use is a number", key("use", "1"), "not a string"},
    };
    for (const auto& [name, edit] : nearMisses()) {
        rows.push_back({name, key("kty", '"' + edit("RSA") + '"'), noneText, noneLine});
        rows.push_back({name, key("use", '"' + edit("sig") + '"'), noneText, noneLine});
    }
    for (const unsigned status : {201U, 301U, 404U}) {
        rows.push_back({std::to_string(status),
                        [=](auto& p) { p.redirect(Endpoint::Keys, status, "/jwks"); },
                        "unable to retrieve information from jwks endpoint",
                        "Unable to retrieve information from jwks endpoint."});
    }
    return rows;
}

TEST(HybridConfiguration, RefusesAndAsksNothingFurther) {
    expectRefusals(configurationRefusals(), 1, hybridFlow);
    expectRefusals(keySetRefusals(), 2, hybridFlow);
}

TEST(HybridConfiguration, TakesKeySetsAsProvidersSendThem) {
    TestProvider provider;
    for (const char* type : {"application/json", "application/jwk-set+json",
                             "application/jwk-set+json; charset=utf-8"}) {
        provider.setContentType(Endpoint::Keys, type);
        EXPECT_NO_THROW(hybridFlow(provider)) << type;
    }
}

}  // namespace
