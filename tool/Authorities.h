#pragma once

#include <filesystem>

namespace tool {

/// Has this process trust the authorities of a PEM file from here on, besides the system's: before
/// the first request. Throws UsageError where it holds none.
void trustAuthorities(const std::filesystem::path& file);

/// Takes that back in the environment, for a program that this process becomes or starts.
void restoreAuthorities();

}  // namespace tool
