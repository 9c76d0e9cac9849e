#pragma once

#include "testing/detail/OpenSsl.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace auth::testing::detail {

/// A directory that only the user can enter, removed with its content in the destructor.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// By number, in the notation of OpenSSL's configuration files.
using CertificateExtensions = std::vector<std::pair<int, std::string>>;

/// A certificate for `key`, valid since a day ago. Without `issuer` it is self-signed, and
/// `issuerKey` must be `key`. Throws std::runtime_error, as check() does.
Certificate issue(const std::string& subject, EVP_PKEY* key, long secondsLeft,
                  const CertificateExtensions& extensions, X509* issuer, EVP_PKEY* issuerKey);

/// Gives `context` a new server certificate and writes the authority that issued it to a PEM file.
/// `names` is a list such as "IP:127.0.0.1,DNS:localhost". Throws std::runtime_error.
void installCertificate(SSL_CTX* context, const std::string& names, bool expired,
                        const std::filesystem::path& authorityFile);

}  // namespace auth::testing::detail
