#include "testing/detail/Certificates.h"

#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <random>
#include <stdexcept>
#include <system_error>

namespace auth::testing::detail {
namespace {

constexpr long day = 24L * 60 * 60;

// Elliptic curves: unlike with RSA, every provider can have its own keys without a delay.
Key makeKey() {
    Key key(EVP_EC_gen("P-256"));
    check(key != nullptr);
    return key;
}

}  // namespace

Certificate issue(const std::string& subject, EVP_PKEY* key, long secondsLeft,
                  const CertificateExtensions& extensions, X509* issuer, EVP_PKEY* issuerKey) {
    Certificate certificate(X509_new());
    X509* const x509 = certificate.get();
    check(x509 != nullptr && X509_set_version(x509, X509_VERSION_3) == 1 &&
          ASN1_INTEGER_set(X509_get_serialNumber(x509), issuer != nullptr ? 2 : 1) == 1 &&
          X509_gmtime_adj(X509_getm_notBefore(x509), -day) != nullptr &&
          X509_gmtime_adj(X509_getm_notAfter(x509), secondsLeft) != nullptr &&
          X509_set_pubkey(x509, key) == 1);

    X509* const signer = issuer != nullptr ? issuer : x509;
    check(X509_NAME_add_entry_by_txt(X509_get_subject_name(x509), "CN", MBSTRING_UTF8,
                                     reinterpret_cast<const unsigned char*>(subject.c_str()), -1,
                                     -1, 0) == 1 &&
          X509_set_issuer_name(x509, X509_get_subject_name(signer)) == 1);

    X509V3_CTX context{};
    X509V3_set_ctx(&context, signer, x509, nullptr, nullptr, 0);
    for (const auto& [id, value] : extensions) {
        const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str()));
        check(extension != nullptr && X509_add_ext(x509, extension.get(), -1) == 1);
    }
    check(X509_sign(x509, issuerKey, EVP_sha256()) > 0);
    return certificate;
}

TemporaryDirectory::TemporaryDirectory() {
    namespace fs = std::filesystem;
    std::random_device random;
    m_path = fs::temp_directory_path() /
             ("test-provider-" + std::to_string(random()) + std::to_string(random()));
    if (!fs::create_directory(m_path)) {
        throw std::runtime_error("cannot make " + m_path.string());
    }
    fs::permissions(m_path, fs::perms::owner_all);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void installCertificate(SSL_CTX* context, const std::string& names, bool expired,
                        const std::filesystem::path& authorityFile) {
    const auto authorityKey = makeKey();
    const auto authority = issue("Test authority", authorityKey.get(), day,
                                 {{NID_basic_constraints, "critical,CA:TRUE"},
                                  {NID_key_usage, "critical,keyCertSign"},
                                  {NID_subject_key_identifier, "hash"}},
                                 nullptr, authorityKey.get());
    const auto key = makeKey();
    const auto certificate = issue("Test provider", key.get(), expired ? -day / 24 : day,
                                   {{NID_subject_alt_name, names},
                                    {NID_ext_key_usage, "serverAuth"},
                                    {NID_authority_key_identifier, "keyid"}},
                                   authority.get(), authorityKey.get());
    const Bio file(BIO_new_file(authorityFile.string().c_str(), "wb"));
    check(file != nullptr && PEM_write_bio_X509(file.get(), authority.get()) == 1 &&
          SSL_CTX_use_certificate(context, certificate.get()) == 1 &&
          SSL_CTX_use_PrivateKey(context, key.get()) == 1);
}

}  // namespace auth::testing::detail
