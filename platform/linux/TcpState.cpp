#include "platform/linux/TcpState.h"

// The C library's own header, which Asio includes, lacks a member and cannot be included with this
// one: hence a separate source file.
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace platform {

namespace {

constexpr int established = 1;  // only the C library's header has a name for it

}  // namespace

std::optional<TcpState> tcpState(int socket) noexcept {
    tcp_info info{};
    socklen_t size = sizeof(info);
    if (::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) {
        return std::nullopt;
    }
    return TcpState{info.tcpi_bytes_received, info.tcpi_state == established};
}

}  // namespace platform
