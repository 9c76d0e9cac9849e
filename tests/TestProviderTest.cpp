#include "testing/TestProvider.h"
#include "testing/detail/OpenSsl.h"

#include <cpprest/http_client.h>
#include <gtest/gtest.h>
#include <openssl/pem.h>

#include <stdexcept>
#include <string>

namespace {

using namespace auth::testing;

std::string answer(const TestProvider& provider, Endpoint endpoint, const std::string& form = "") {
    web::http::http_request request(form.empty() ? "GET" : "POST");
    request.set_body(form, "application/x-www-form-urlencoded");
    web::http::client::http_client client(provider.url(endpoint));
    return client.request(request).get().extract_utf8string().get();
}

std::string refresh(const TestProvider& provider, const std::string& client,
                    const std::string& token) {
    return answer(provider, Endpoint::Token,
                  "grant_type=refresh_token&client_id=" + client + "&refresh_token=" + token);
}

std::string refreshToken(const std::string& answer) {
    const auto json = web::json::value::parse(answer);
    return json.has_field("refresh_token") ? json.at("refresh_token").as_string() : "";
}

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string asDer(const std::string& sideBySide) {
    const detail::EcdsaSignature pair(ECDSA_SIG_new());
    ECDSA_SIG_set0(pair.get(), BN_bin2bn(bytes(sideBySide), 32, nullptr),
                   BN_bin2bn(bytes(sideBySide) + 32, 32, nullptr));
    std::string der(static_cast<std::size_t>(i2d_ECDSA_SIG(pair.get(), nullptr)), '\0');
    auto* at = reinterpret_cast<unsigned char*>(der.data());
    i2d_ECDSA_SIG(pair.get(), &at);
    return der;
}

TEST(TestProvider, SignsWhatItsPublicKeysVerify) {
    const std::string data = "data";
    for (const std::string algorithm : {"RS256", "RS384", "ES256"}) {
        const bool ec = algorithm == "ES256";
        const auto key = ec ? SigningKey::ec("key") : SigningKey::rsa("key", 1024);
        const auto signature = ec ? asDer(key.sign(algorithm, data)) : key.sign(algorithm, data);
        const auto pem = key.publicPem();
        const detail::Bio memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
        const detail::Key publicKey(PEM_read_bio_PUBKEY(memory.get(), nullptr, nullptr, nullptr));
        const detail::DigestContext context(EVP_MD_CTX_new());
        const auto* const digest = algorithm == "RS384" ? EVP_sha384() : EVP_sha256();
        ASSERT_EQ(EVP_DigestVerifyInit(context.get(), nullptr, digest, nullptr, publicKey.get()),
                  1);
        EXPECT_EQ(EVP_DigestVerify(context.get(), bytes(signature), signature.size(), bytes(data),
                                   data.size()),
                  1)
            << algorithm;
        EXPECT_THROW(static_cast<void>(key.sign("HS256", data)), std::invalid_argument);
    }
}

TEST(TestProvider, RedeemsACodeOnceAndOnlyAsItWasIssued) {
    TestProvider provider;
    // The verifier and challenge of RFC 7636, appendix B.
    const std::string verifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
    const auto code =
        provider.issueCode({"app", "app:/back", "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM"});
    const auto redeem = [&](const std::string& client, const std::string& uri,
                            const std::string& proof) {
        return answer(provider, Endpoint::Token,
                      "grant_type=authorization_code&code=" + code + "&client_id=" + client +
                          "&redirect_uri=" + uri + "&code_verifier=" + proof);
    };
    const std::string refused = R"({"error":"invalid_grant"})";
    EXPECT_EQ(redeem("other", "app:/back", verifier), refused);
    EXPECT_EQ(redeem("app", "app:/back/", verifier), refused);
    EXPECT_EQ(redeem("app", "app:/back", ""), refused);
    EXPECT_EQ(redeem("app", "app:/back", "e" + verifier.substr(1)), refused);

    const auto first = redeem("app", "app:/back", verifier);
    EXPECT_EQ(refresh(provider, "other", refreshToken(first)), refused);
    const auto second = refresh(provider, "app", refreshToken(first));
    ASSERT_NE(refreshToken(second), "");
    EXPECT_EQ(redeem("app", "app:/back", verifier), refused);
    EXPECT_EQ(refresh(provider, "app", refreshToken(second)), refused) << "the code was replayed";
}

TEST(TestProvider, RevokesEveryRefreshTokenWhenAnOldOneIsUsed) {
    TestProvider provider;
    const auto old = provider.issueRefreshToken("app");
    const auto untouched = provider.issueRefreshToken("app");
    const auto newest = refreshToken(refresh(provider, "app", old));
    ASSERT_NE(newest, "");
    EXPECT_EQ(refreshToken(refresh(provider, "app", old)), "");
    EXPECT_EQ(refreshToken(refresh(provider, "app", newest)), "");
    EXPECT_NE(refreshToken(refresh(provider, "app", untouched)), "");
}

TEST(TestProvider, TakesBackWhatIsSetForKeys) {
    TestProvider provider;
    const auto published = answer(provider, Endpoint::Keys);
    const auto kid = provider.signingKey().kid();
    provider.setKeyMember(0, "kid", "5");
    provider.removeKeyMember(0, "use");
    EXPECT_THROW(provider.setKeyMember(1, "kid", "5"), std::out_of_range);
    EXPECT_NE(answer(provider, Endpoint::Keys), published);
    provider.rotateSigningKey();
    EXPECT_NE(provider.signingKey().kid(), kid);
    provider.setSigningKeys({});
    EXPECT_EQ(answer(provider, Endpoint::Keys), R"({"keys":[]})");
    EXPECT_EQ(provider.signingKey().kid(), kid);
    provider.reset(Endpoint::Keys);
    EXPECT_EQ(answer(provider, Endpoint::Keys), published);
}

}  // namespace
