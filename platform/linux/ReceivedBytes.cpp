#include "platform/linux/ReceivedBytes.h"

// The C library's own header, which Asio includes, lacks this member and excludes this one: a
// source apart.
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace platform {

std::uint64_t receivedBytes(int socket) noexcept {
    tcp_info info{};
    socklen_t size = sizeof(info);
    return ::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? info.tcpi_bytes_received
                                                                          : 0;
}

}  // namespace platform
