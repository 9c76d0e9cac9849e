#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace standalone::detail {

// The content of a record's file: plain where the file's mode alone protects it, encrypted for the
// user where the system supports that.

/// The largest number of bytes by which it may grow.
extern const std::size_t sealingRoom;

std::vector<std::uint8_t> seal(const std::filesystem::path& file, std::vector<std::uint8_t> bytes);

/// Refuses bytes that were not sealed for this user.
std::vector<std::uint8_t> unseal(const std::filesystem::path& file,
                                 std::vector<std::uint8_t> bytes);

}  // namespace standalone::detail
