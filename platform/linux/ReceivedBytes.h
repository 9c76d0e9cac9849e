#pragma once

#include <cstdint>

namespace platform {

/// What a TCP connection has received since it was opened; 0 where the system does not tell.
std::uint64_t receivedBytes(int socket) noexcept;

}  // namespace platform
