#include "testing/SigningKey.h"
#include "tests/support/Test.h"

#include <boost/core/demangle.hpp>
#include <jwt-cpp/jwt.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <numeric>
#include <typeinfo>

namespace {

// All of this holds for jwt-cpp itself, too, except the tests under this condition: in jwt-cpp
// objects nest without a limit, dates overflow, and failures stay in OpenSSL's queue.
#ifdef OIDCAUTH_OWN_JWT
constexpr bool ownHeader = true;
#else
constexpr bool ownHeader = false;
#endif

using auth::testing::SigningKey;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using Token = jwt::decoded_jwt<jwt::traits::kazuho_picojson>;

const std::string passed = "passed";
const std::string badCast = "std::bad_cast: std::bad_cast";
const std::string noType = "std::logic_error: invalid type";
const std::string invalidJson = "jwt::error::invalid_json_exception: invalid json";
const std::string noClaim = "jwt::error::claim_not_present_exception: claim not found";
const std::string verification = "jwt::error::token_verification_exception: ";
const std::string expired = verification + "token expired";
const std::string badSignature =
    "jwt::error::signature_verification_exception: failed to verify signature: VerifyFinal failed";
const std::string rs256 = R"({"alg":"RS256"})";

/// The result of an action, or the exception that ends it.
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

const SigningKey& rsaKey() {
    static const SigningKey key = SigningKey::rsa("key");
    return key;
}

std::string signedToken(const std::string& payload, const std::string& header = rs256) {
    const std::string data = encoded(header) + '.' + encoded(payload);
    return data + '.' + encoded(rsaKey().sign("RS256", data));
}

std::string written(const std::function<void(BIO*)>& write) {
    const std::shared_ptr<BIO> to(BIO_new(BIO_s_mem()), BIO_free_all);
    write(to.get());
    char* begin = nullptr;
    const long length = BIO_get_mem_data(to.get(), &begin);
    return {begin, static_cast<std::size_t>(length)};
}

/// For the same key, issued by another, unknown one.
std::string expiredCertificate() {
    const std::string text = rsaKey().publicPem();
    const std::shared_ptr<BIO> bio(BIO_new_mem_buf(text.data(), -1), BIO_free_all);
    const std::shared_ptr<EVP_PKEY> key(PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr),
                                        EVP_PKEY_free);
    const std::shared_ptr<EVP_PKEY> issuer(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const std::shared_ptr<X509> certificate(X509_new(), X509_free);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -2);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), -1);
    X509_set_pubkey(certificate.get(), key.get());
    X509_sign(certificate.get(), issuer.get(), EVP_sha256());
    return written([&](BIO* to) { PEM_write_bio_X509(to, certificate.get()); });
}

/// Not an RSA key: it verifies nothing.
std::string privateKey(const std::string& password) {
    const std::shared_ptr<EVP_PKEY> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    return written([&](BIO* to) {
        PEM_write_bio_PKCS8PrivateKey(to, key.get(), EVP_aes_256_cbc(), password.data(),
                                      static_cast<int>(password.size()), nullptr, nullptr);
    });
}

/// The outcome for each of these texts.
struct TextCase {
    std::string end;
    std::vector<std::string> texts;
};

TEST(Jwt, Decodes) {
    const std::string invalid = "std::runtime_error: Invalid input: ";
    const std::vector<TextCase> cases = {
        {"std::invalid_argument: invalid token supplied", {"", "a.b"}},
        {invalidJson, {"..", "e30..AAAA", unsignedToken("{"), unsignedToken("{\"a\":1,}")}},
        {badCast, {"W10.e30.", unsignedToken("null")}},
        {"std::overflow_error: ", {unsignedToken("{\"a\":1e999}")}},
        {invalid + "too much fill",
         {"e30.e30.A", "e30.e30.AAAA\n", "e30.e30.AAAA.AAAA", "e30.e30.AAA%3d"}},
        {invalid + "incorrect total size", {"e30.e30.%3d"}},
        {invalid + "not within alphabet",  // the last one: decoding comes before parsing
         {"e30.e30.AAAA.AAA", "e30.e30.AAA=", "e30.e30.AA+\xFF", std::string("e30.e30.AAA\0", 12),
          "AAAA.AAAA.AAA="}},
        {"signed with 0", {"e30.e30.", unsignedToken("{}x")}},
        {"signed with 1", {"e30.e30.AB", "e30.e30.AA%3d%3d"}},
        {"signed with 2", {"e30.e30.AAA"}}};
    for (const TextCase& row : cases) {
        for (const std::string& text : row.texts) {
            const auto decode = [&] {
                const Token token = jwt::decode(text);
                EXPECT_EQ(token.get_signature_base64(), text.substr(text.rfind('.') + 1));
                return "signed with " + std::to_string(token.get_signature().size());
            };
            EXPECT_EQ(endOf(decode), row.end) << text;
        }
    }
    EXPECT_EQ(jwt::base::encode<jwt::alphabet::base64url>("a"), "YQ%3d%3d");
}

TEST(Jwt, NestsAHundredLevels) {
    const auto array = [](const std::string& value) { return '[' + value + ']'; };
    const auto end = [](const std::string& first, const std::string& second) {
        return endOf([&] {
            jwt::decode(unsignedToken("{\"b\":" + first + ",\"a\":" + second + '}'));
            return passed;
        });
    };
    for (const std::string pattern : {"o", "a", "oa", "ooa"}) {
        std::string inner = "1";
        for (std::size_t level = 99; level > 0; --level) {
            inner = pattern[level % pattern.size()] == 'a' ? array(inner) : object("b", inner);
        }
        EXPECT_EQ(end(inner, inner), passed) << pattern;
        if (ownHeader) {
            EXPECT_EQ(end(inner, array(inner)), invalidJson) << pattern;
            EXPECT_EQ(end(inner, object("a", inner)), invalidJson) << pattern;
        }
    }
}

TEST(Jwt, ReadsClaims) {
    const auto joined = [](const auto& texts) {
        return std::accumulate(texts.begin(), texts.end(), std::string(),
                               [](const auto& all, const auto& text) { return all + text + ','; });
    };
    struct Row {
        std::string value;
        std::string text;
        std::string audience;
        std::string set;
        std::string date;  // in seconds
    };
    for (const Row& row :
         std::vector<Row>{{R"("s")", "s", "s,", badCast, badCast},
                          {"1", badCast, badCast, badCast, "1"},
                          {"2.5", badCast, badCast, badCast, "3"},
                          {"-1.5", badCast, badCast, badCast, "-2"},
                          {"true", badCast, badCast, badCast, badCast},
                          {"null", badCast, noType, badCast, noType},
                          {"[]", badCast, "", "", badCast},
                          {R"(["b","a","a"])", badCast, "a,b,", "a,b,", badCast},
                          {R"(["a",1])", badCast, badCast, badCast, badCast},
                          {R"(1,"aud":"last")", "last", "last,", badCast, badCast}}) {
        const Token token = jwt::decode(unsignedToken(object("aud", row.value)));
        const jwt::claim claim = token.get_payload_claim("aud");
        EXPECT_TRUE(token.has_audience());
        EXPECT_EQ(endOf([&] { return joined(token.get_audience()); }), row.audience) << row.value;
        EXPECT_EQ(endOf([&] { return claim.as_string(); }), row.text) << row.value;
        EXPECT_EQ(endOf([&] { return joined(claim.as_set()); }), row.set) << row.value;
        EXPECT_EQ(
            endOf([&] { return std::to_string(claim.as_date().time_since_epoch() / seconds(1)); }),
            row.date)
            << row.value;
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
    verifier.allow_algorithm(jwt::algorithm::rs256(rsaKey().publicPem()));
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
                                         // The first fault counts, in the order nbf, iat, exp.
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
    for (const std::string value :
         {"9223372037", "9223372036854775807", "9223372036854775808", "1e19"}) {
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

template <class... Text>
std::string endOfVerifying(const std::string& token, const Text&... keyText) {
    return endOf([&] {
        const jwt::algorithm::rs256 key(keyText...);
        return jwt::verify().allow_algorithm(key).verify(jwt::decode(token)), passed;
    });
}

TEST(Jwt, VerifiesSignaturesOfTheAllowedAlgorithm) {
    const std::string key = rsaKey().publicPem();
    const std::string token = signedToken(R"({"exp":1})");
    const std::size_t dot = token.rfind('.');
    EXPECT_EQ(endOfVerifying(token, key), expired);
    EXPECT_EQ(endOfVerifying(token.substr(0, dot + 1), key), badSignature);
    EXPECT_EQ(endOfVerifying(encoded(rs256) + ".e30" + token.substr(dot), key), badSignature);
    EXPECT_EQ(endOfVerifying(signedToken("{}", "{}"), key), noClaim);
    for (const auto& [name, edit] : test::nearMisses()) {
        EXPECT_EQ(endOfVerifying(signedToken("{}", object("alg", '"' + edit("RS256") + '"')), key),
                  verification + "wrong algorithm")
            << name;
    }

    const jwt::algorithm::rs256 other(SigningKey::rsa("other").publicPem());
    std::error_code error;
    auto verifier = jwt::verify().allow_algorithm(jwt::algorithm::rs256(key));
    verifier.verify(jwt::decode(token), error);
    EXPECT_EQ(error, jwt::error::token_verification_error::token_expired);
    verifier.allow_algorithm(other).verify(jwt::decode(token), error);
    EXPECT_EQ(error, jwt::error::signature_verification_error::verifyfinal_failed);
}

/// An algorithm that is not the library's.
struct ForeignAlgorithm {
    static std::string name() { return "RS256"; }
    static void verify(const std::string& /*data*/, const std::string& /*signature*/,
                       std::error_code& error) {
        error = std::make_error_code(std::errc::permission_denied);
    }
};

TEST(Jwt, RefusesWhatOtherAlgorithmsRefuse) {
    const auto verifier = jwt::verify().allow_algorithm(ForeignAlgorithm());
    const Token token = jwt::decode(signedToken("{}"));
    std::error_code error;
    verifier.verify(token, error);
    EXPECT_EQ(error, std::errc::permission_denied);
    if (ownHeader) {
        EXPECT_THROW(verifier.verify(token), std::system_error);
    }
}

TEST(Jwt, LoadsPublicKeys) {
    const std::string rsa = "jwt::error::rsa_exception: ";
    const std::string key = rsaKey().publicPem();
    const std::string certificate = expiredCertificate();
    const std::string token = signedToken("{}");
    ERR_clear_error();
    ERR_raise(ERR_LIB_USER, 1);  // an error that somebody else has not read yet
    const auto others = ERR_peek_error();
    const std::vector<TextCase> cases = {
        {passed, {key, "Somebody's key:\n" + key, certificate + "text"}},
        {rsa + "failed to load key: bio read failed", {'\n' + certificate, key.substr(0, 200)}},
        {rsa + "error loading cert into memory", {certificate.substr(0, 500)}},
        {rsa + "at least one of public or private key need to be present", {""}},
        {badSignature,
         {SigningKey::ec("curve").publicPem(), SigningKey::rsa("small", 1024).publicPem()}}};
    for (const TextCase& row : cases) {
        for (const std::string& text : row.texts) {
            EXPECT_EQ(endOfVerifying(token, text), row.end) << text;
            EXPECT_TRUE(!ownHeader || ERR_peek_error() == others) << text;
            EXPECT_TRUE(!ownHeader || ERR_peek_last_error() == others) << text;
        }
    }
    ERR_clear_error();
}

TEST(Jwt, TakesThePrivateKeyOfTwo) {
    const std::string token = signedToken("{}");
    const std::string key = rsaKey().publicPem();
    for (const std::string password : {"", "secret"}) {
        const std::string other = privateKey(password);
        EXPECT_EQ(endOfVerifying(token, key, other, "wrong", password), badSignature) << password;
        EXPECT_EQ(endOfVerifying(token, key, other, password, "wrong"),
                  "jwt::error::rsa_exception: failed to load key: bio read failed")
            << password;
    }
}

TEST(Jwt, MakesPublicKeysOfComponents) {
    using jwt::helper::create_public_key_from_rsa_components;
    const std::string quoted = rsaKey().members().at("n");
    const std::string n = quoted.substr(1, quoted.size() - 2);
    for (const std::string zeros : {"", "AAAA"}) {
        EXPECT_EQ(create_public_key_from_rsa_components(zeros + n, "AQAB"), rsaKey().publicPem());
    }
    EXPECT_THROW(create_public_key_from_rsa_components(n, "A+AA"), std::runtime_error);
    for (const std::string useless : {"", "AA", "BA"}) {
        EXPECT_EQ(endOfVerifying(signedToken("{}"),
                                 create_public_key_from_rsa_components(useless, "AQAB")),
                  badSignature);
    }
}

}  // namespace
