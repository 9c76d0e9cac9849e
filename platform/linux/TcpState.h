#pragma once

#include <cstdint>
#include <optional>

namespace platform {

struct TcpState {
    std::uint64_t receivedBytes;  ///< since the connection was opened
    bool isEstablished;           ///< neither side has closed or reset it
};

/// Empty if the system does not tell.
std::optional<TcpState> tcpState(int socket) noexcept;

}  // namespace platform
