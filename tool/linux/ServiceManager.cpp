#include "tool/ServiceManager.h"

#include "tool/Environment.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>

namespace tool {

void tellServiceManager(const std::string& state) {
    const std::string path = variable("NOTIFY_SOCKET");
    sockaddr_un address{};
    // Other kinds of addresses are unknown to us.
    if (path.empty() || (path.front() != '/' && path.front() != '@') ||
        path.size() >= sizeof address.sun_path) {
        return;
    }
    address.sun_family = AF_UNIX;
    std::copy(path.begin(), path.end(), std::begin(address.sun_path));
    if (path.front() == '@') {
        address.sun_path[0] = '\0';  // a name outside the file system
    }
    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor >= 0) {
        (void)::sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL,
                       reinterpret_cast<const sockaddr*>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size()));
        ::close(descriptor);
    }
}

}  // namespace tool
