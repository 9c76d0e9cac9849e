#pragma once

#include <filesystem>
#include <optional>

namespace tool {

// The user's own folders for this command: below XDG_STATE_HOME and XDG_CONFIG_HOME or their usual
// places, on Windows below LOCALAPPDATA and APPDATA; nothing where no home directory is known.

std::optional<std::filesystem::path> stateFolder();
std::optional<std::filesystem::path> configFolder();

/// With the home directory in place of a tilde.
std::filesystem::path withHome(const std::filesystem::path& path);

}  // namespace tool
