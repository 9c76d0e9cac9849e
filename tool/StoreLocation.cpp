#include "tool/StoreLocation.h"

#include "host/CCryptoUtilities.h"
#include "tool/ExitCode.h"
#include "tool/UserFolders.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>
#include <vector>

namespace tool {

namespace {

std::string fingerprint(const std::string& text) {
    constexpr auto sha256 = IHashFunction::Algorithm::SHA256;
    std::vector<std::uint8_t> digest(CCryptoUtilities::getDigestSize(sha256));
    if (!CCryptoUtilities::calcChecksum(sha256, text.data(), text.size(), digest)) {
        throw UsageError("no SHA-256 to name the token file with: give --store FILE");
    }
    return fmt::format("{:02x}", fmt::join(digest.begin(), digest.begin() + 16, ""));
}

}  // namespace

std::filesystem::path defaultStore(const std::string& configUrl, const std::string& clientId,
                                   const std::string& profile) {
    const auto folder = stateFolder();
    if (!folder) {
        throw UsageError("no home directory to keep the token in: give --store FILE");
    }
    // A line feed stands in none of them: no two records have the same text.
    const std::string record = configUrl + '\n' + clientId;
    return *folder / (fingerprint(profile.empty() ? record : record + '\n' + profile) + ".token");
}

}  // namespace tool
