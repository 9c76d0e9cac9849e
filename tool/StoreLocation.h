#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// The default file for a client's token. Each provider and client has its own file, because a
/// stored token does not say who issued it, and so does each profile. Throws UsageError if there is
/// no home directory.
std::filesystem::path defaultStore(const std::string& configUrl, const std::string& clientId,
                                   const std::string& profile);

}  // namespace tool
