#pragma once

#include <openssl/ecdsa.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

namespace auth::testing::detail {

template <auto Free>
struct Freeing {
    template <class T>
    void operator()(T* object) const {
        Free(object);
    }
};

using Bio = std::unique_ptr<BIO, Freeing<BIO_free>>;
using Certificate = std::unique_ptr<X509, Freeing<X509_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, Freeing<EVP_MD_CTX_free>>;
using EcdsaSignature = std::unique_ptr<ECDSA_SIG, Freeing<ECDSA_SIG_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Freeing<X509_EXTENSION_free>>;
using Key = std::unique_ptr<EVP_PKEY, Freeing<EVP_PKEY_free>>;
using Number = std::unique_ptr<BIGNUM, Freeing<BN_free>>;

/// Throws std::runtime_error with OpenSSL's reason. Afterwards the thread's error queue is empty:
/// an error that stays in it would be taken for a failure of the program under test.
inline void check(bool success) {
    if (!success) {
        const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
        ERR_clear_error();
        throw std::runtime_error(reason != nullptr ? reason : "OpenSSL failed");
    }
}

}  // namespace auth::testing::detail
