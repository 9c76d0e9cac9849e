#include <boost/core/demangle.hpp>
#include <gtest/gtest.h>
#include <jwt-cpp/jwt.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

// All this holds with jwt-cpp itself too, but for what asks for this: there objects nest without a
// limit, dates overflow, and failures stay in OpenSSL's queue.
#ifdef OIDCAUTH_OWN_JWT
constexpr bool ownHeader = true;
#else
constexpr bool ownHeader = false;
#endif

using std::chrono::nanoseconds;
using std::chrono::seconds;
using Key = std::shared_ptr<EVP_PKEY>;
using Token = jwt::decoded_jwt<jwt::traits::kazuho_picojson>;

const std::string passed = "passed";
const std::string badCast = "std::bad_cast: std::bad_cast";
const std::string noType = "std::logic_error: invalid type";
const std::string noClaim = "jwt::error::claim_not_present_exception: claim not found";
const std::string verification = "jwt::error::token_verification_exception: ";
const std::string expired = verification + "token expired";
const std::string badSignature =
    "jwt::error::signature_verification_exception: failed to verify signature: VerifyFinal failed";
const std::string rs256 = R"({"alg":"RS256"})";

/// What an action tells, or the exception that ends it.
std::string endOf(const std::function<std::string()>& action) {
    try {
        return action();
    } catch (const std::exception& error) {
        return boost::core::demangle(typeid(error).name()) + ": " + error.what();
    }
}

std::string encoded(const std::string& bytes) {
    using Url = jwt::alphabet::base64url;
    return jwt::base::trim<Url>(jwt::base::encode<Url>(bytes));
}

std::string unsignedToken(const std::string& payload) {
    return "e30." + encoded(payload) + '.';
}

std::string object(const std::string& name, const std::string& value) {
    return "{\"" + name + "\":" + value + '}';
}

const Key& rsaKey() {
    static const Key key(EVP_RSA_gen(2048), EVP_PKEY_free);
    return key;
}

std::string signedToken(const std::string& payload, const std::string& header = rs256) {
    const std::string data = encoded(header) + '.' + encoded(payload);
    const std::shared_ptr<EVP_MD_CTX> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    std::string signature(256, '\0');
    std::size_t size = signature.size();
    EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, rsaKey().get());
    EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size,
                   reinterpret_cast<const unsigned char*>(data.data()), data.size());
    return data + '.' + encoded(signature);
}

std::string written(const std::function<int(BIO*)>& write) {
    const std::shared_ptr<BIO> bio(BIO_new(BIO_s_mem()), BIO_free_all);
    EXPECT_EQ(write(bio.get()), 1);
    char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

std::string publicText(const Key& key) {
    return written([&](BIO* bio) { return PEM_write_bio_PUBKEY(bio, key.get()); });
}

std::string expiredCertificate() {
    const std::shared_ptr<X509> certificate(X509_new(), X509_free);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -2);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), -1);
    X509_set_pubkey(certificate.get(), rsaKey().get());
    X509_sign(certificate.get(), rsaKey().get(), EVP_sha256());
    return written([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate.get()); });
}

/// What becomes of each of these texts.
struct TextCase {
    std::string end;
    std::vector<std::string> texts;
};

TEST(Jwt, Decodes) {
    const std::string invalid = "std::runtime_error: Invalid input: ";
    const std::vector<TextCase> cases = {
        {"std::invalid_argument: invalid token supplied", {"", "a.b"}},
        {"jwt::error::invalid_json_exception: invalid json",
         {"..", "e30..AAAA", unsignedToken("{"), unsignedToken("{\"a\":1,}")}},
        {badCast, {"W10.e30.", unsignedToken("null")}},
        {"std::overflow_error: ", {unsignedToken("{\"a\":1e999}")}},
        {invalid + "too much fill",
         {"e30.e30.A", "e30.e30.AAAA\n", "e30.e30.AAAA.AAAA", "e30.e30.AAA%3d"}},
        {invalid + "incorrect total size", {"e30.e30.%3d"}},
        {invalid + "not within alphabet",  // the last one: all is decoded before any is parsed
         {"e30.e30.AAAA.AAA", "e30.e30.AAA=", "e30.e30.AA+\xFF", std::string("e30.e30.AAA\0", 12),
          "AAAA.AAAA.AAA="}},
        {"signed with 0", {"e30.e30.", unsignedToken("{}x")}},
        {"signed with 1", {"e30.e30.AB", "e30.e30.AA%3d%3d"}},
        {"signed with 2", {"e30.e30.AAA"}}};
    for (const TextCase& row : cases) {
        for (const std::string& text : row.texts) {
            const auto decode = [&] {
                return "signed with " + std::to_string(jwt::decode(text).get_signature().size());
            };
            EXPECT_EQ(endOf(decode), row.end) << text;
        }
    }
}

std::string array(const std::string& value) {
    return '[' + value + ']';
}

std::string tokenOf(const std::string& first, const std::string& second) {
    return unsignedToken("{\"b\":" + first + ",\"a\":" + second + '}');
}

TEST(Jwt, NestsAHundredLevels) {
    for (const std::string pattern : {"o", "a", "oa", "ooa"}) {
        std::string inner = "1";
        for (std::size_t level = 99; level > 0; --level) {
            inner = pattern[level % pattern.size()] == 'a' ? array(inner) : object("b", inner);
        }
        const auto decode = [&](const std::string& second) { jwt::decode(tokenOf(inner, second)); };
        EXPECT_NO_THROW(decode(inner)) << pattern;
        if (ownHeader) {
            EXPECT_THROW(decode(array(inner)), jwt::error::invalid_json_exception) << pattern;
            EXPECT_THROW(decode(object("a", inner)), jwt::error::invalid_json_exception) << pattern;
        }
    }
}

struct ClaimCase {
    std::string value;
    std::string text;
    std::string audience;
    std::string set;
    std::string date;  // in seconds
};

TEST(Jwt, ReadsClaims) {
    const auto joined = [](const auto& texts) {
        std::string all;
        for (const std::string& text : texts) {
            all += text + ',';
        }
        return all;
    };
    const std::vector<ClaimCase> cases = {{R"("s")", "s", "s,", badCast, badCast},
                                          {"1", badCast, badCast, badCast, "1"},
                                          {"2.5", badCast, badCast, badCast, "3"},
                                          {"-1.5", badCast, badCast, badCast, "-2"},
                                          {"true", badCast, badCast, badCast, badCast},
                                          {"null", badCast, noType, badCast, noType},
                                          {"[]", badCast, "", "", badCast},
                                          {R"(["b","a","a"])", badCast, "a,b,", "a,b,", badCast},
                                          {R"(["a",1])", badCast, badCast, badCast, badCast},
                                          {R"(1,"aud":"last")", "last", "last,", badCast, badCast}};
    for (const ClaimCase& row : cases) {
        const Token token = jwt::decode(unsignedToken(object("aud", row.value)));
        const jwt::claim claim = token.get_payload_claim("aud");
        const auto date = [&] {
            const auto since = claim.as_date().time_since_epoch();
            return std::to_string(std::chrono::duration_cast<seconds>(since).count());
        };
        EXPECT_TRUE(token.has_audience());
        EXPECT_EQ(endOf([&] { return joined(token.get_audience()); }), row.audience) << row.value;
        EXPECT_EQ(endOf([&] { return claim.as_string(); }), row.text) << row.value;
        EXPECT_EQ(endOf([&] { return joined(claim.as_set()); }), row.set) << row.value;
        EXPECT_EQ(endOf(date), row.date) << row.value;
    }
    const Token empty = jwt::decode(unsignedToken("{}"));
    EXPECT_FALSE(empty.has_issuer());
    EXPECT_EQ(endOf([&] { return empty.get_issuer(); }), noClaim);
}

struct Clock {
    jwt::date date;
    jwt::date now() const { return date; }
};

struct TimeCase {
    std::string payload;
    std::int64_t second;
    int nanosecond;
    std::string end;
    std::optional<std::size_t> leeway = std::nullopt;
    std::optional<std::size_t> issuedAtLeeway = std::nullopt;
};

void check(const TimeCase& row) {
    const Clock clock{jwt::date(seconds(row.second) + nanoseconds(row.nanosecond))};
    auto verifier = jwt::verify<Clock, jwt::traits::kazuho_picojson>(clock);
    verifier.allow_algorithm(jwt::algorithm::rs256(publicText(rsaKey())));
    if (row.leeway) {
        verifier.leeway(*row.leeway);
    }
    if (row.issuedAtLeeway) {
        verifier.issued_at_leeway(*row.issuedAtLeeway);
    }
    const Token token = jwt::decode(signedToken(row.payload));
    EXPECT_EQ(endOf([&] { return verifier.verify(token), passed; }), row.end) << row.payload;
}

TEST(Jwt, ChecksTimes) {
    constexpr auto none = std::nullopt;
    const std::string missing = verification + "decoded JWT is missing required claim(s)";
    const std::string noInteger = verification + "claim type does not match expected type";
    const std::vector<TimeCase> cases = {{"{}", 0, 0, passed},
                                         {R"({"exp":1000})", 1000, 0, passed},
                                         {R"({"exp":1000.4})", 1000, 1, expired},
                                         {R"({"exp":1000})", 1005, 0, passed, 5},
                                         {R"({"exp":1000})", 1005, 1, expired, 5},
                                         {R"({"nbf":1000})", 1000, -1, expired},
                                         {R"({"nbf":1000})", 995, 0, passed, 5},
                                         {R"({"nbf":1000})", 995, -1, expired, 5},
                                         {R"({"iat":1000})", 1000, -1, expired},
                                         {R"({"iat":1000})", 995, 0, passed, 5},
                                         {R"({"iat":1000})", 995, 0, passed, 0, 5},
                                         {R"({"iat":1000})", 995, -1, expired, 9, 5},
                                         {R"({"iat":1000,"nbf":1000})", 995, 0, expired, none, 5},
                                         {R"({"iat":1000.0})", 2000, 0, noInteger, none, 5},
                                         {R"({"iat":null})", 2000, 0, noType, none, 5},
                                         // The first fault is told, in the order nbf, iat, exp.
                                         {R"({"exp":1,"nbf":"x"})", 2000, 0, badCast},
                                         {R"({"exp":1,"iat":"x"})", 2000, 0, badCast},
                                         {R"({"exp":"x","iat":3000})", 2000, 0, expired},
                                         {R"({"iat":"x","nbf":3000})", 2000, 0, expired},
                                         {R"({"exp":"x"})", 2000, 0, missing, none, 5}};
    for (const TimeCase& row : cases) {
        check(row);
    }
}

TEST(Jwt, KeepsDatesInTheClocksRange) {
    if (!ownHeader) {
        GTEST_SKIP() << "jwt-cpp's dates overflow";
    }
    for (const std::string value : {"9223372037", "9223372036854775807", "1e19"}) {
        for (const std::size_t leeway : {std::size_t{0}, std::size_t{60}, SIZE_MAX}) {
            check({object("exp", value), 2000, 0, passed, leeway});
            check({object("nbf", '-' + value), 2000, 0, passed, leeway});
        }
        check({object("exp", "1"), 2000, 0, passed, SIZE_MAX});
        check({object("nbf", value), 2000, 0, expired, 60});
        check({object("iat", value), 2000, 0, expired, 60});
        check({object("exp", '-' + value), 2000, 0, expired, 60});
    }
}

std::string endOfVerifying(const std::string& token, const std::string& keyText) {
    return endOf([&] {
        const jwt::algorithm::rs256 key(keyText);
        return jwt::verify().allow_algorithm(key).verify(jwt::decode(token)), passed;
    });
}

TEST(Jwt, VerifiesSignaturesOfTheAllowedAlgorithm) {
    const std::string key = publicText(rsaKey());
    const std::string token = signedToken(R"({"exp":1})");
    const std::size_t dot = token.rfind('.');
    EXPECT_EQ(endOfVerifying(token, key), expired);
    EXPECT_EQ(endOfVerifying(token.substr(0, dot + 1), key), badSignature);
    EXPECT_EQ(endOfVerifying(encoded(rs256) + ".e30" + token.substr(dot), key), badSignature);
    EXPECT_EQ(endOfVerifying(signedToken("{}", "{}"), key), noClaim);
    for (const std::string name : {"HS256", "none", "rs256", ""}) {
        EXPECT_EQ(endOfVerifying(signedToken("{}", object("alg", '"' + name + '"')), key),
                  verification + "wrong algorithm");
    }

    const jwt::algorithm::rs256 other(publicText(Key(EVP_RSA_gen(2048), EVP_PKEY_free)));
    std::error_code error;
    auto verifier = jwt::verify().allow_algorithm(jwt::algorithm::rs256(key));
    verifier.verify(jwt::decode(token), error);
    EXPECT_EQ(error, jwt::error::token_verification_error::token_expired);
    verifier.allow_algorithm(other).verify(jwt::decode(token), error);
    EXPECT_EQ(error, jwt::error::signature_verification_error::verifyfinal_failed);
}

TEST(Jwt, LoadsPublicKeys) {
    const std::string rsa = "jwt::error::rsa_exception: ";
    const std::string key = publicText(rsaKey());
    const std::string certificate = expiredCertificate();
    const std::string token = signedToken("{}");
    ERR_clear_error();
    const std::vector<TextCase> cases = {
        {passed, {key, "Somebody's key:\n" + key, certificate + "text"}},
        {rsa + "failed to load key: bio read failed", {'\n' + certificate, key.substr(0, 200)}},
        {rsa + "error loading cert into memory", {certificate.substr(0, 500)}},
        {rsa + "at least one of public or private key need to be present", {""}},
        {badSignature, {publicText(Key(EVP_EC_gen("P-256"), EVP_PKEY_free))}}};
    for (const TextCase& row : cases) {
        for (const std::string& text : row.texts) {
            EXPECT_EQ(endOfVerifying(token, text), row.end) << text;
            EXPECT_TRUE(!ownHeader || ERR_peek_error() == 0) << text;
        }
    }
}

TEST(Jwt, MakesPublicKeysOfComponents) {
    using jwt::helper::create_public_key_from_rsa_components;
    BIGNUM* number = nullptr;
    ASSERT_EQ(EVP_PKEY_get_bn_param(rsaKey().get(), "n", &number), 1);
    const std::shared_ptr<BIGNUM> owner(number, BN_free);
    std::string n(256, '\0');
    BN_bn2bin(number, reinterpret_cast<unsigned char*>(n.data()));
    EXPECT_EQ(create_public_key_from_rsa_components(encoded(n), "AQAB"), publicText(rsaKey()));
    EXPECT_EQ(create_public_key_from_rsa_components(encoded('\0' + n), "AQAB"),
              publicText(rsaKey()));
    EXPECT_THROW(create_public_key_from_rsa_components(encoded(n), "A+AA"), std::runtime_error);
    for (const std::string useless : {"", "AA", "BA"}) {
        EXPECT_EQ(endOfVerifying(signedToken("{}"),
                                 create_public_key_from_rsa_components(useless, "AQAB")),
                  badSignature);
    }
}

}  // namespace
