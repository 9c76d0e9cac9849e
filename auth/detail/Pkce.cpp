#include "auth/detail/Pkce.h"

#include "host/CCryptoUtilities.h"

#include <cpprest/asyncrt_utils.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

namespace auth::detail {

namespace {

/// A value from 0 to 254, all equally likely (multiply and shift, with rejection).
unsigned char drawByte(std::mt19937& generator) {
    constexpr std::uint64_t values = 255;
    for (;;) {
        const std::uint64_t product = std::uint64_t{generator()} * values;
        if (static_cast<std::uint32_t>(product) != 0) {
            return static_cast<unsigned char>(product >> 32U);
        }
    }
}

}  // namespace

utility::string_t makeCodeVerifier(std::size_t byteCount) {
    std::mt19937 generator(std::random_device{}());
    std::vector<unsigned char> bytes(byteCount);
    std::generate(bytes.begin(), bytes.end(), [&generator] { return drawByte(generator); });
    return base64UrlNoPad(bytes);
}

utility::string_t makeCodeChallenge(const utility::string_t& codeVerifier) {
    constexpr auto sha256 = IHashFunction::Algorithm::SHA256;
    const std::string text = utility::conversions::to_utf8string(codeVerifier);
    std::vector<std::uint8_t> digest(CCryptoUtilities::getDigestSize(sha256));
    // If the host cannot hash, the challenge matches no verifier, and the provider refuses it.
    CCryptoUtilities::calcChecksum(sha256, text.data(), text.size(), digest);
    return base64UrlNoPad(digest);
}

utility::string_t base64UrlNoPad(const std::vector<unsigned char>& bytes) {
    utility::string_t text = utility::conversions::to_base64(bytes);
    text.erase(std::find(text.begin(), text.end(), _XPLATSTR('=')), text.end());
    std::replace(text.begin(), text.end(), _XPLATSTR('+'), _XPLATSTR('-'));
    std::replace(text.begin(), text.end(), _XPLATSTR('/'), _XPLATSTR('_'));
    return text;
}

}  // namespace auth::detail
