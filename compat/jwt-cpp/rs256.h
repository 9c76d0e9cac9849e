#pragma once

#include "jwt-cpp/base64url.h"
#include "jwt-cpp/error.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

namespace jwt {

namespace detail {

template <auto Free>
struct freed_by {
    template <typename Object>
    void operator()(Object* object) const noexcept {
        Free(object);
    }
};

using bio_ptr = std::unique_ptr<BIO, freed_by<BIO_free_all>>;
using bignum_ptr = std::unique_ptr<BIGNUM, freed_by<BN_free>>;
using digest_context_ptr = std::unique_ptr<EVP_MD_CTX, freed_by<EVP_MD_CTX_free>>;
using key_context_ptr = std::unique_ptr<EVP_PKEY_CTX, freed_by<EVP_PKEY_CTX_free>>;
using key_ptr = std::unique_ptr<EVP_PKEY, freed_by<EVP_PKEY_free>>;
using param_builder_ptr = std::unique_ptr<OSSL_PARAM_BLD, freed_by<OSSL_PARAM_BLD_free>>;
using params_ptr = std::unique_ptr<OSSL_PARAM, freed_by<OSSL_PARAM_free>>;
using certificate_ptr = std::unique_ptr<X509, freed_by<X509_free>>;

/// Removes the errors that OpenSSL adds to the thread's queue: otherwise later calls of others
/// would report them.
class clean_error_queue {
public:
    clean_error_queue() noexcept { ERR_set_mark(); }
    clean_error_queue(const clean_error_queue&) = delete;
    clean_error_queue& operator=(const clean_error_queue&) = delete;
    ~clean_error_queue() { ERR_pop_to_mark(); }
};

inline void require(bool success, error::rsa_error otherwise) {
    if (!success) {
        throw error::rsa_exception(otherwise);
    }
}

/// OpenSSL uses int for lengths.
inline int length_of(const std::string& bytes, error::rsa_error if_too_long) {
    require(bytes.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max()), if_too_long);
    return static_cast<int>(bytes.size());
}

/// The bytes must outlive the result.
inline bio_ptr bio_over(const std::string& bytes) {
    const int length = length_of(bytes, error::rsa_error::load_key_bio_write);
    bio_ptr bio(BIO_new_mem_buf(bytes.data(), length));
    require(bio != nullptr, error::rsa_error::create_mem_bio_failed);
    return bio;
}

/// Without a callback OpenSSL uses this as the password; without either it would ask on the
/// terminal.
inline void* password_argument(const std::string& password) {
    return const_cast<char*>(password.c_str());  // NOLINT(*-const-cast): OpenSSL only reads it
}

inline key_ptr key_of_certificate(BIO& text, const std::string& password) {
    const certificate_ptr certificate(
        PEM_read_bio_X509(&text, nullptr, nullptr, password_argument(password)));
    require(certificate != nullptr, error::rsa_error::cert_load_failed);
    key_ptr key(X509_get_pubkey(certificate.get()));
    require(key != nullptr, error::rsa_error::get_key_failed);
    return key;
}

inline key_ptr load_public_key(const std::string& pem, const std::string& password) {
    constexpr std::string_view certificate = "-----BEGIN CERTIFICATE-----";
    const bio_ptr text = bio_over(pem);
    if (pem.compare(0, certificate.size(), certificate) == 0) {
        return key_of_certificate(*text, password);
    }
    key_ptr key(PEM_read_bio_PUBKEY(text.get(), nullptr, nullptr, password_argument(password)));
    require(key != nullptr, error::rsa_error::load_key_bio_read);
    return key;
}

inline key_ptr load_private_key(const std::string& pem, const std::string& password) {
    const bio_ptr text = bio_over(pem);
    key_ptr key(PEM_read_bio_PrivateKey(text.get(), nullptr, nullptr, password_argument(password)));
    require(key != nullptr, error::rsa_error::load_key_bio_read);
    return key;
}

/// A big-endian number in base64url, as in a JSON web key.
inline bignum_ptr number_of(const std::string& base64) {
    const std::string bytes = base::detail::decode_unpadded(base64);
    bignum_ptr number(BN_bin2bn(reinterpret_cast<const unsigned char*>(bytes.data()),
                                length_of(bytes, error::rsa_error::set_rsa_failed), nullptr));
    require(number != nullptr, error::rsa_error::set_rsa_failed);
    return number;
}

inline key_ptr rsa_key_of(const BIGNUM& modulus, const BIGNUM& exponent) {
    const param_builder_ptr builder(OSSL_PARAM_BLD_new());
    require(builder != nullptr &&
                OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, &modulus) == 1 &&
                OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, &exponent) == 1,
            error::rsa_error::set_rsa_failed);
    const params_ptr params(OSSL_PARAM_BLD_to_param(builder.get()));
    const key_context_ptr context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    require(params != nullptr && context != nullptr && EVP_PKEY_fromdata_init(context.get()) == 1,
            error::rsa_error::create_context_failed);
    EVP_PKEY* key = nullptr;
    const bool made =
        EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, params.get()) == 1;
    key_ptr owner(key);
    require(made, error::rsa_error::set_rsa_failed);
    return owner;
}

inline std::string pem_of(EVP_PKEY& key) {
    const bio_ptr bio(BIO_new(BIO_s_mem()));
    require(bio != nullptr, error::rsa_error::create_mem_bio_failed);
    require(PEM_write_bio_PUBKEY(bio.get(), &key) == 1, error::rsa_error::write_key_failed);
    const char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

}  // namespace detail

namespace helper {

/// The PEM text of the public key with the modulus and exponent of a JSON web key. Only verifying a
/// signature shows whether the two form a key.
inline std::string create_public_key_from_rsa_components(const std::string& modulus,
                                                         const std::string& exponent) {
    const detail::clean_error_queue clean;
    const detail::bignum_ptr n = detail::number_of(modulus);
    const detail::bignum_ptr e = detail::number_of(exponent);
    return detail::pem_of(*detail::rsa_key_of(*n, *e));
}

}  // namespace helper

namespace algorithm {

/// Verifies with the key in a PEM text: a public key, or a certificate, of which only the key is
/// used. If a private key is given, it is used instead. Copies share the loaded key.
class rs256 {
public:
    explicit rs256(const std::string& public_key, const std::string& private_key = "",
                   const std::string& public_key_password = "",
                   const std::string& private_key_password = "")
        : m_key(load(public_key, private_key, public_key_password, private_key_password)) {}

    std::string name() const { return "RS256"; }

    void verify(const std::string& data, const std::string& signature, std::error_code& ec) const {
        using error::signature_verification_error;
        const detail::clean_error_queue clean;
        ec.clear();
        const detail::digest_context_ptr context(EVP_MD_CTX_new());
        if (!context) {
            ec = signature_verification_error::create_context_failed;
        } else if (EVP_VerifyInit(context.get(), EVP_sha256()) != 1) {
            ec = signature_verification_error::verifyinit_failed;
        } else if (EVP_VerifyUpdate(context.get(), data.data(), data.size()) != 1) {
            ec = signature_verification_error::verifyupdate_failed;
        } else if (EVP_VerifyFinal(context.get(),
                                   reinterpret_cast<const unsigned char*>(signature.data()),
                                   static_cast<unsigned int>(signature.size()), m_key.get()) != 1) {
            ec = signature_verification_error::verifyfinal_failed;
        }
    }

private:
    static detail::key_ptr load(const std::string& public_key, const std::string& private_key,
                                const std::string& public_key_password,
                                const std::string& private_key_password) {
        const detail::clean_error_queue clean;
        if (!private_key.empty()) {
            return detail::load_private_key(private_key, private_key_password);
        }
        detail::require(!public_key.empty(), error::rsa_error::no_key_provided);
        return detail::load_public_key(public_key, public_key_password);
    }

    // Constant, because jwt-cpp's algorithms cannot be assigned either.
    const std::shared_ptr<EVP_PKEY> m_key;
};

}  // namespace algorithm

}  // namespace jwt
