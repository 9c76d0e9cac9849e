#include "host/CCryptoUtilities.h"

#include <openssl/evp.h>

namespace {

const EVP_MD* messageDigest(IHashFunction::Algorithm algorithm) noexcept {
    switch (algorithm) {
        case IHashFunction::Algorithm::SHA256:
            return EVP_sha256();
    }
    return nullptr;  // a value from a newer caller
}

}  // namespace

std::size_t CCryptoUtilities::getDigestSize(IHashFunction::Algorithm algorithm) noexcept {
    const EVP_MD* const kind = messageDigest(algorithm);
    return kind == nullptr ? 0 : static_cast<std::size_t>(EVP_MD_get_size(kind));
}

bool CCryptoUtilities::calcChecksum(IHashFunction::Algorithm algorithm, const void* data,
                                    std::size_t size, std::vector<std::uint8_t>& digest) noexcept {
    const EVP_MD* const kind = messageDigest(algorithm);
    return kind != nullptr && digest.size() >= getDigestSize(algorithm) &&
           EVP_Digest(data, size, digest.data(), nullptr, kind, nullptr) == 1;
}
