#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// The file in which a client's token is kept unless the user names one. A file for each provider
/// and client, since a stored token does not say who issued it, and for each profile, if any.
/// Throws UsageError when there is no home.
std::filesystem::path defaultStore(const std::string& configUrl, const std::string& clientId,
                                   const std::string& profile);

}  // namespace tool
