#include "tests/support/Trust.h"

#include "tests/support/Common.h"

// The second header needs the first one.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

// WinHTTP trusts the authorities of the machine and of the user, and accepts no others for a single
// client.
void test::trust(web::http::client::http_client_config& /*config*/, const std::string& file) {
    std::ifstream stream(file);
    const std::string pem(std::istreambuf_iterator<char>(stream), {});
    std::vector<BYTE> bytes(pem.size());
    auto size = static_cast<DWORD>(bytes.size());
    if (::CryptStringToBinaryA(pem.c_str(), 0, CRYPT_STRING_BASE64HEADER, bytes.data(), &size,
                               nullptr, nullptr) == FALSE) {
        throw std::runtime_error("no certificate: " + file);
    }
    const HCERTSTORE store =
        ::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, L"ROOT");
    const BOOL added = ::CertAddEncodedCertificateToStore(
        store, X509_ASN_ENCODING, bytes.data(), size, CERT_STORE_ADD_REPLACE_EXISTING, nullptr);
    ::CertCloseStore(store, 0);
    if (added == FALSE) {
        throw std::runtime_error("not trusted: " + file);
    }
}
