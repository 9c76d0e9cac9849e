#include "tool/Authorities.h"

#include "tool/Environment.h"
#include "tool/ExitCode.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

namespace tool {

namespace {

/// OpenSSL's variable, by which the HTTP library finds authorities.
constexpr const char* authoritiesVariable = "SSL_CERT_FILE";

/// The caller's value of that variable, if it had one; empty if the variable was not replaced.
std::optional<std::optional<std::string>>& replaced() {
    static std::optional<std::optional<std::string>> value;
    return value;
}

// NOLINTBEGIN(concurrency-mt-unsafe): before there are threads, or when none reads it any more

void set(const std::optional<std::string>& value) {
    value ? ::setenv(authoritiesVariable, value->c_str(), 1) : ::unsetenv(authoritiesVariable);
}

// NOLINTEND(concurrency-mt-unsafe)

bool holdsCertificate(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) {  // a regular file can be read again
        return false;
    }
    const std::unique_ptr<BIO, decltype(&BIO_free)> input(BIO_new_file(file.c_str(), "r"),
                                                          BIO_free);
    if (!input) {
        return false;
    }
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509_AUX(input.get(), nullptr, nullptr, nullptr), X509_free);
    return certificate != nullptr;
}

}  // namespace

void trustAuthorities(const std::filesystem::path& file) {
    if (!holdsCertificate(file)) {  // the HTTP library would ignore such a file silently
        throw UsageError("--ca-file: no PEM certificate can be read from that file");
    }
    if (!replaced()) {
        replaced() = readVariable(authoritiesVariable);
    }
    set(std::filesystem::absolute(file).string());
}

void restoreAuthorities() {
    if (replaced()) {
        set(*replaced());
        replaced().reset();
    }
}

}  // namespace tool
