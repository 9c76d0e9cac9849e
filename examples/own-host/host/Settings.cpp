// The application's settings for the network, and its cryptography.

#include "host/CCryptoUtilities.h"
#include "host/HttpProxyConfig.h"

#include <openssl/sha.h>

#include <chrono>

web::http::client::http_client_config get_http_proxy_config(const web::uri& /*target*/) {
    web::http::client::http_client_config config;
    config.set_timeout(std::chrono::seconds(10));
    config.set_proxy(web::web_proxy::disabled);
    return config;
}

std::size_t CCryptoUtilities::getDigestSize(IHashFunction::Algorithm algorithm) noexcept {
    return algorithm == IHashFunction::Algorithm::SHA256 ? SHA256_DIGEST_LENGTH : 0;
}

bool CCryptoUtilities::calcChecksum(IHashFunction::Algorithm algorithm, const void* data,
                                    std::size_t size, std::vector<std::uint8_t>& digest) noexcept {
    const std::size_t needed = getDigestSize(algorithm);
    return needed != 0 && digest.size() >= needed &&
           SHA256(static_cast<const unsigned char*>(data), size, digest.data()) != nullptr;
}
