#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tool {

/// What to do about a file that other users can write; empty if they cannot.
std::optional<std::string> remedyForOtherWriters(const std::filesystem::path& file);

}  // namespace tool
