#include "tests/support/Refusals.h"
#include "tests/support/TestClock.h"
#include "tests/support/Threads.h"
#include "tests/support/Wide.h"

namespace {

using namespace std::chrono_literals;
using namespace auth::testing;
using namespace test;

const std::chrono::system_clock::time_point now(1'700'000'000s);

std::string at(std::chrono::seconds offset) {
    return std::to_string((now + offset).time_since_epoch() / 1s);
}

/// A provider, the object under test with its log, and a clock that is stopped at `now`.
class TokenValidation : public ::testing::Test {
protected:
    TokenValidation() {
        clock.freezeAt(now);
        configure();
    }

    TestToken token(TokenKind kind = TokenKind::Id) const {
        TestToken result = provider.token(kind, "client");
        result.setClaim("iat", at(-10s));
        result.setClaim("exp", at(60s));
        return result;
    }

    void configure() {
        log = std::make_shared<CapturedLog>();
        flow = hybridFlow(provider, CapturedLog::loggerTo(log));
    }

    std::string validate(const std::string& text, std::string* missed = nullptr) {
        return outcome([&] { return flow->validateJwt(auth::detail::decodeJwt(text), missed); });
    }
    std::string validate(const TestToken& unsignedToken) {
        return validate(unsignedToken.signedBy(provider.signingKey()));
    }

    std::string complaints() { return log->takeFrom(3); }

    TestClock clock;
    TestProvider provider;
    std::shared_ptr<CapturedLog> log;
    std::unique_ptr<auth::COIDCAuthHybrid> flow;
};

const std::string wrongSignature = "failed to verify signature: VerifyFinal failed";
const std::string badAlgorithm = "4 Algorithm is invalid/not supported.";
const std::string unknownKey = "4 Unable to recognize key id.";

TEST_F(TokenValidation, ChecksHeaderAndTimes) {
    const auto claim = [](const char* name, const std::string& json) {
        return [=](TestToken& t) { t.setClaim(name, json); };
    };
    const auto header = [](const char* name, const std::string& json) {
        return [=](TestToken& t) { t.setHeader(name, json); };
    };
    std::vector<Row<TestToken>> rows = {
        {"as issued", [](auto&) {}, "accepted"},
        {"no time of issue", [](auto& t) { t.removeClaim("iat"); }, "accepted"},
        {"no time at all", [](auto& t) { t.removeClaim("iat").removeClaim("exp"); }, "accepted"},
        {"issued now", claim("iat", at(0s)), "accepted"},
        {"issued at the beginning of time", claim("iat", "-9223372036854775808"), "accepted"},
        {"expires now", claim("exp", at(0s)), "accepted"},
        {"expired", claim("exp", at(-1s)), "token expired"},
        {"begins now", claim("nbf", at(0s)), "accepted"},
        {"begins later", claim("nbf", at(1s)), "token expired"},
        {"unsecured", header("alg", R"("none")"), "refused", badAlgorithm},
        {"other hash", header("alg", R"("RS384")"), "refused", badAlgorithm},
        {"no algorithm", [](auto& t) { t.removeHeader("alg"); }, "claim not found"},
        {"algorithm is a number", header("alg", "256"), "std::bad_cast"},
        {"algorithm before key",
         [](auto& t) { t.setHeader("alg", R"("ES256")").setHeader("kid", "1"); }, "refused",
         badAlgorithm},
        {"no key", [](auto& t) { t.removeHeader("kid"); }, "claim not found"},
        {"key is a number", header("kid", "1"), "std::bad_cast"},
        {"critical extension, which is not looked at", header("crit", R"(["exp"])"), "accepted"},
    };
    for (const auto& [name, edit] : nearMisses()) {
        const std::string kid = '"' + edit(provider.signingKey().kid()) + '"';
        const std::string algorithm = '"' + edit("RS256") + '"';
        rows.push_back({name, header("kid", kid), "refused", unknownKey});
        rows.push_back({name, header("alg", algorithm), "refused", badAlgorithm});
    }
    for (const auto& row : rows) {
        TestToken changed = token();
        row.change(changed);
        complaints();
        EXPECT_EQ(validate(changed), row.outcome) << row.name;
        EXPECT_EQ(complaints(), row.logged) << row.name;
    }
}

TEST_F(TokenValidation, DecodesNothingBeyondItsLength) {
    const std::size_t longest = 65'536;
    std::size_t fill = 0;
    const auto filled = [&] {
        return token()
            .setClaim("x", '"' + std::string(fill, 'x') + '"')
            .signedBy(provider.signingKey());
    };
    fill = (longest - filled().size()) / 4 * 3;
    for (std::string text = filled(); text.size() < longest + 4; ++fill, text = filled()) {
        EXPECT_EQ(validate(text), text.size() > longest ? "invalid token supplied" : "accepted")
            << text.size();
    }
}

TEST_F(TokenValidation, ToleratesClocksThatDifferALittle) {
    const std::string tolerated = "3 Received 'issue time' is in future.";
    const std::string refused =
        tolerated + "4 Received 'issue time' is not within the specified bounds in future.";
    for (const auto& [ahead, isTolerated] :
         {std::pair{100ms, true}, {4000ms, true}, {4001ms, false}, {60'000ms, false}}) {
        clock.freezeAt(now - ahead);
        complaints();
        EXPECT_EQ(validate(token().setClaim("iat", at(0s))), isTolerated ? "accepted" : "refused");
        EXPECT_EQ(complaints(), isTolerated ? tolerated : refused) << ahead.count();
    }
}

TEST_F(TokenValidation, AcceptsNoOtherBitAndNoOtherKey) {
    const SigningKey other = SigningKey::rsa(provider.signingKey().kid());
    EXPECT_EQ(validate(token().signedBy(other)), wrongSignature);
    EXPECT_EQ(validate(token().unsecured()), wrongSignature);

    EXPECT_EQ(
        validate(
            token().setHeader("alg", R"("HS256")").signedByHmac(provider.signingKey().publicPem())),
        "refused");

    const std::string text = token().signedBy(provider.signingKey());
    ASSERT_EQ(validate(text), "accepted");
    // The last character of a signature of 256 bytes has unused bits.
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        std::string altered = text;
        altered[i] = static_cast<char>(altered[i] ^ 1);
        EXPECT_NE(validate(altered), "accepted") << "character " << i;
    }
}

TEST_F(TokenValidation, UsesTheKeyThatTheTokenNames) {
    const SigningKey key = provider.signingKey();
    const SigningKey other = SigningKey::rsa("other");
    const auto keys = [](const std::vector<SigningKey>& all) {
        return [=](TestProvider& p) { p.setSigningKeys(all); };
    };
    const auto member = [](const char* name, const std::string& json) {
        return [=](TestProvider& p) { p.setKeyMember(0, name, json); };
    };
    const std::vector<Row<TestProvider>> rows = {
        {"among others", keys({SigningKey::ec(key.kid()), other, key}), "accepted"},
        {"the first of equal names", keys({key, other.withKid(key.kid())}), "accepted"},
        {"not the second of equal names", keys({other.withKid(key.kid()), key}), wrongSignature},
        {"rotated away", keys({other}), "refused", unknownKey},
        {"a key without name before it",
         [&](auto& p) {
             p.setSigningKeys({other, key});
             p.removeKeyMember(0, "kid");
         },
         "Key not found"},
        {"with certificates", member("x5c", "[\"" + key.certificate() + "\"]"), "accepted"},
        {"with certificates of another key", member("x5c", "[\"" + other.certificate() + "\"]"),
         "accepted"},
        {"a certificate as text", member("x5c", '"' + key.certificate() + '"'), "not an array"},
        {"modulus of one byte", member("n", R"("AQ")"), wrongSignature},
        {"modulus that is no base64url", member("n", R"("+/==")"),
         "Invalid input: not within alphabet"},
    };
    const std::string text = token().signedBy(key);
    for (const auto& row : rows) {
        provider.reset();
        provider.setSigningKeys({key});
        row.change(provider);
        configure();
        complaints();
        for (int round = 0; round < 2; ++round) {  // the second time with the cached key
            std::string missed;
            EXPECT_EQ(validate(text, &missed), row.outcome) << row.name;
            EXPECT_EQ(missed, row.outcome == "refused" ? "kid" : "") << row.name;
            EXPECT_EQ(complaints(), row.logged) << row.name;
        }
    }
}

TEST_F(TokenValidation, KeepsTheKeysApartForSeveralThreads) {
    const std::vector<SigningKey> keys = {provider.signingKey(), SigningKey::rsa("other")};
    provider.setSigningKeys(keys);
    configure();
    onThreads(4, [&](int) {
        for (const SigningKey& named : keys) {
            const TestToken unsignedToken = token().setHeader("kid", '"' + named.kid() + '"');
            for (const SigningKey& key : keys) {
                EXPECT_EQ(validate(unsignedToken.signedBy(key)),
                          key.kid() == named.kid() ? "accepted" : wrongSignature)
                    << named.kid() << " by " << key.kid();
            }
        }
    });
}

TEST_F(TokenValidation, ChecksClaims) {
    const std::string issuer = provider.issuer();
    const std::string idIssuer = "4 Unable to find issuer claim in id token.";
    const std::string idClient = "4 Unable to find client id in audience in id token.";
    const std::string idExpiry =
        "4 Unable to find expiration timestamp, or token is already expired in id token.";
    const std::string idNonce = "4 Unable to find nonce in id token.";
    const std::string accessIssuer = "4 Access token issuer is missing or incorrect.";
    const std::string accessClient = "4 Access token client id is missing or incorrect.";
    const std::string accessExpiry = "4 Token has no expiration time or is already expired.";
    const auto id = TokenKind::Id;
    const auto access = TokenKind::Access;
    struct Row {
        TokenKind kind;
        const char* claim;
        std::string json;  // empty: the claim is omitted
        std::string outcome;
        std::string complaint = {};
    };
    std::vector<Row> rows = {
        {id, "iss", "", "refused", idIssuer},
        {id, "iss", "1", "refused", idIssuer},
        {id, "iss", "null", "refused", idIssuer},
        {id, "aud", "", "refused", "4 Unable to find audience claim in id token."},
        {id, "aud", "[]", "refused", idClient},
        {id, "aud", R"(["other", "client"])", "accepted", ""},
        {id, "aud", R"(["client", 1])", "std::bad_cast", ""},
        {id, "aud", "{}", "std::bad_cast", ""},
        {id, "azp", R"("other")", "accepted", ""},
        {id, "exp", "", "refused", idExpiry},
        {id, "exp", at(-1s), "refused", idExpiry},
        {id, "exp", at(0s), "accepted", ""},
        {id, "exp", R"("never")", "std::bad_cast", ""},
        {id, "nonce", "", "accepted", ""},
        {id, "nonce", R"("abc")", "accepted", ""},
        {id, "nonce", "7", "std::bad_cast", ""},
        {access, "iss", "", "refused", accessIssuer},
        {access, "iss", "[\"" + issuer + "\"]", "refused", accessIssuer},
        {access, "client_id", "", "refused", accessClient},
        {access, "client_id", R"(["client"])", "std::bad_cast", ""},
        {access, "aud", "", "accepted", ""},
        {access, "exp", "", "refused", accessExpiry},
        {access, "exp", at(-1s), "refused", accessExpiry},
        {access, "nonce", R"("abd")", "accepted", ""},
    };
    for (const Row& row : std::vector<Row>{{id, "iss", issuer, "", idIssuer},
                                           {id, "aud", "client", "", idClient},
                                           {id, "nonce", "abc", "", idNonce},
                                           {access, "iss", issuer, "", accessIssuer},
                                           {access, "client_id", "client", "", accessClient}}) {
        for (const auto& [name, edit] : nearMisses()) {
            rows.push_back(
                {row.kind, row.claim, '"' + edit(row.json) + '"', "refused", row.complaint});
        }
    }
    for (const Row& row : rows) {
        TestToken changed = token(row.kind);
        row.json.empty() ? changed.removeClaim(row.claim) : changed.setClaim(row.claim, row.json);
        const auto decoded = auth::detail::decodeJwt(changed.signedBy(provider.signingKey()));
        complaints();
        std::string missed;
        EXPECT_EQ(outcome([&] {
                      return row.kind == id
                                 ? flow->validateIdTokenClaims(decoded, "client",
                                                               test::to_string_t("abc"), &missed)
                                 : flow->validateAccessTokenClaims(decoded, "client", &missed);
                  }),
                  row.outcome)
            << row.claim << ' ' << row.json;
        EXPECT_EQ(missed, row.outcome == "refused" ? row.claim : "");
        EXPECT_EQ(complaints(), row.complaint) << row.claim << ' ' << row.json;
    }
    const auto other = token().setClaim("nonce", "7").signedBy(provider.signingKey());
    EXPECT_TRUE(flow->validateIdTokenClaims(auth::detail::decodeJwt(other), "client", {}))
        << "no nonce is expected";
}

}  // namespace
