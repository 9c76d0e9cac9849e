// SHA-256 by itself: OpenSSL's newer functions read its configuration first, here for nothing but
// the name of a file.
#define OPENSSL_API_COMPAT 0x10101000L

#include "tool/StoreLocation.h"

#include "tool/ExitCode.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <openssl/sha.h>

#include <array>
#include <cstdint>
#include <cstdlib>

namespace tool {

namespace {

std::filesystem::path stateFolder() {
    const auto variable = [](const char* name) -> std::filesystem::path {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
        const char* const value = std::getenv(name);
        return value == nullptr ? "" : value;
    };
    auto state = variable("XDG_STATE_HOME");
    if (state.is_absolute()) {
        return state;
    }
    const auto home = variable("HOME");
    if (!home.is_absolute()) {
        throw UsageError("no home directory to keep the token in: give --store FILE");
    }
    return home / ".local" / "state";
}

std::string fingerprint(const std::string& text) {
    std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
    SHA256_CTX sha256;
    SHA256_Init(&sha256);
    SHA256_Update(&sha256, text.data(), text.size());
    SHA256_Final(digest.data(), &sha256);
    return fmt::format("{:02x}", fmt::join(digest.begin(), digest.begin() + 16, ""));
}

}  // namespace

std::filesystem::path defaultStore(const std::string& configUrl, const std::string& clientId) {
    // A line feed stands in no URL: no two pairs give the same text.
    return stateFolder() / "oidcauth" / (fingerprint(configUrl + '\n' + clientId) + ".token");
}

}  // namespace tool
