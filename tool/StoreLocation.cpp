// Keeps OpenSSL's plain SHA-256 functions available: its newer ones first read its configuration,
// which is not worth it for the name of a file.
#define OPENSSL_API_COMPAT 0x10101000L

#include "tool/StoreLocation.h"

#include "tool/ExitCode.h"
#include "tool/UserFolders.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <openssl/sha.h>

#include <array>
#include <cstdint>

namespace tool {

namespace {

std::string fingerprint(const std::string& text) {
    std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
    SHA256_CTX sha256;
    SHA256_Init(&sha256);
    SHA256_Update(&sha256, text.data(), text.size());
    SHA256_Final(digest.data(), &sha256);
    return fmt::format("{:02x}", fmt::join(digest.begin(), digest.begin() + 16, ""));
}

}  // namespace

std::filesystem::path defaultStore(const std::string& configUrl, const std::string& clientId,
                                   const std::string& profile) {
    const auto folder = stateFolder();
    if (!folder) {
        throw UsageError("no home directory to keep the token in: give --store FILE");
    }
    // None of them has a line feed, so no two records have the same text.
    const std::string record = configUrl + '\n' + clientId;
    return *folder / (fingerprint(profile.empty() ? record : record + '\n' + profile) + ".token");
}

}  // namespace tool
