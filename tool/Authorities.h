#pragma once

#include <filesystem>

namespace tool {

/// Makes this process trust the authorities in a PEM file in addition to the system's. Call it
/// before the first request. Throws UsageError if the file has none.
void trustAuthorities(const std::filesystem::path& file);

/// Restores the environment for a program that replaces this process or is started by it.
void restoreAuthorities();

}  // namespace tool
