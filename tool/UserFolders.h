#pragma once

#include <filesystem>
#include <optional>

namespace tool {

// The user's own folders for this command: below XDG_STATE_HOME and XDG_CONFIG_HOME or their
// defaults, on Windows below LOCALAPPDATA and APPDATA. Empty if no home directory is known.

std::optional<std::filesystem::path> stateFolder();
std::optional<std::filesystem::path> configFolder();

/// Replaces a leading tilde by the home directory.
std::filesystem::path withHome(const std::filesystem::path& path);

}  // namespace tool
