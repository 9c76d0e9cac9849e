#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace standalone::detail {

// What a record looks like in its file: as it is where the file's mode alone keeps it, encrypted
// for the user where the system does that.

/// By how much it may grow.
extern const std::size_t sealingRoom;

std::vector<std::uint8_t> seal(const std::filesystem::path& file, std::vector<std::uint8_t> bytes);

/// Refuses what was not sealed for this user.
std::vector<std::uint8_t> unseal(const std::filesystem::path& file,
                                 std::vector<std::uint8_t> bytes);

}  // namespace standalone::detail
