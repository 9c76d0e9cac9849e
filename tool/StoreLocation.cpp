#include "tool/StoreLocation.h"

#include "host/CCryptoUtilities.h"
#include "tool/ExitCode.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

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
    constexpr auto sha256 = IHashFunction::Algorithm::SHA256;
    std::vector<std::uint8_t> digest(CCryptoUtilities::getDigestSize(sha256));
    if (!CCryptoUtilities::calcChecksum(sha256, text.data(), text.size(), digest)) {
        throw UsageError("no SHA-256 to name the token file with: give --store FILE");
    }
    return fmt::format("{:02x}", fmt::join(digest.begin(), digest.begin() + 16, ""));
}

}  // namespace

std::filesystem::path defaultStore(const std::string& configUrl, const std::string& clientId) {
    // A line feed stands in no URL: no two pairs give the same text.
    return stateFolder() / "oidcauth" / (fingerprint(configUrl + '\n' + clientId) + ".token");
}

}  // namespace tool
