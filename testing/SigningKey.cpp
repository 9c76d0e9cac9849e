#include "testing/SigningKey.h"

#include "testing/detail/Certificates.h"
#include "testing/detail/OpenSsl.h"
#include "testing/detail/Text.h"

#include <openssl/core_names.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <optional>
#include <stdexcept>
#include <utility>

namespace auth::testing {
namespace {

using detail::check;

constexpr int coordinateSize = 32;
constexpr long day = 24L * 60 * 60;

unsigned char* bytes(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

const unsigned char* bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// Big-endian, padded with leading zeros to that size.
std::string padded(const BIGNUM* number, int size) {
    std::string result(static_cast<std::size_t>(size), '\0');
    check(BN_bn2binpad(number, bytes(result), size) == size);
    return result;
}

detail::Number parameter(const EVP_PKEY* key, const char* name) {
    BIGNUM* number = nullptr;
    check(EVP_PKEY_get_bn_param(key, name, &number) == 1);
    return detail::Number(number);
}

std::string content(const detail::Bio& memory) {
    char* data = nullptr;
    const auto size = BIO_get_mem_data(memory.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

// JOSE puts r and s side by side; OpenSSL uses DER.
std::string sideBySide(const std::string& der) {
    const auto* at = bytes(std::string_view(der));
    const detail::EcdsaSignature signature(
        d2i_ECDSA_SIG(nullptr, &at, static_cast<long>(der.size())));
    check(signature != nullptr);
    return padded(ECDSA_SIG_get0_r(signature.get()), coordinateSize) +
           padded(ECDSA_SIG_get0_s(signature.get()), coordinateSize);
}

}  // namespace

struct SigningKey::Pair {
    explicit Pair(EVP_PKEY* generated) : key(generated) { check(key != nullptr); }

    bool rsa() const { return EVP_PKEY_is_a(key.get(), "RSA") == 1; }

    detail::Key key;
};

SigningKey::SigningKey(std::string kid, std::shared_ptr<const Pair> pair)
    : m_kid(std::move(kid)), m_pair(std::move(pair)) {}

SigningKey SigningKey::rsa(const std::string& kid, unsigned bits) {
    return {kid, std::make_shared<Pair>(EVP_RSA_gen(bits))};
}

SigningKey SigningKey::ec(const std::string& kid) {
    return {kid, std::make_shared<Pair>(EVP_EC_gen("P-256"))};
}

SigningKey SigningKey::withKid(const std::string& kid) const {
    return {kid, m_pair};
}

std::string SigningKey::algorithm() const {
    return m_pair->rsa() ? "RS256" : "ES256";
}

std::string SigningKey::publicPem() const {
    const detail::Bio memory(BIO_new(BIO_s_mem()));
    check(memory != nullptr && PEM_write_bio_PUBKEY(memory.get(), m_pair->key.get()) == 1);
    return content(memory);
}

std::string SigningKey::certificate() const {
    auto* const key = m_pair->key.get();
    const auto issued = detail::issue("Test signing key", key, day, {}, nullptr, key);
    const detail::Bio memory(BIO_new(BIO_s_mem()));
    check(memory != nullptr && i2d_X509_bio(memory.get(), issued.get()) == 1);
    return detail::base64(content(memory));
}

std::map<std::string, std::string> SigningKey::members() const {
    const auto* const key = m_pair->key.get();
    const auto value = [key](const char* name, std::optional<int> size = std::nullopt) {
        const auto number = parameter(key, name);
        return detail::quoted(
            detail::base64url(padded(number.get(), size.value_or(BN_num_bytes(number.get())))));
    };
    detail::Members members{{"use", detail::quoted("sig")},
                            {"alg", detail::quoted(algorithm())},
                            {"kid", detail::quoted(m_kid)}};
    if (m_pair->rsa()) {
        members.merge(detail::Members{{"kty", detail::quoted("RSA")},
                                      {"n", value(OSSL_PKEY_PARAM_RSA_N)},
                                      {"e", value(OSSL_PKEY_PARAM_RSA_E)}});
    } else {
        members.merge(detail::Members{{"kty", detail::quoted("EC")},
                                      {"crv", detail::quoted("P-256")},
                                      {"x", value(OSSL_PKEY_PARAM_EC_PUB_X, coordinateSize)},
                                      {"y", value(OSSL_PKEY_PARAM_EC_PUB_Y, coordinateSize)}});
    }
    return members;
}

bool SigningKey::signs(const std::string& name) const {
    return name == algorithm() || (m_pair->rsa() && name == "RS384");
}

std::string SigningKey::sign(const std::string& name, std::string_view data) const {
    if (!signs(name)) {
        throw std::invalid_argument("this key does not sign by " + name);
    }
    const detail::DigestContext context(EVP_MD_CTX_new());
    const EVP_MD* const digest = name == "RS384" ? EVP_sha384() : EVP_sha256();
    std::size_t size = 0;
    check(context != nullptr &&
          EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, m_pair->key.get()) == 1 &&
          EVP_DigestSign(context.get(), nullptr, &size, bytes(data), data.size()) == 1);
    std::string signature(size, '\0');
    check(EVP_DigestSign(context.get(), bytes(signature), &size, bytes(data), data.size()) == 1);
    signature.resize(size);
    return m_pair->rsa() ? signature : sideBySide(signature);
}

}  // namespace auth::testing
