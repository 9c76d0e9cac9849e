#include "tests/support/Exchange.h"

#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::atomic<bool> tellsTcpState{true};
std::atomic<unsigned> asked{0};

}  // namespace

/// Replaces the system's function; makes every second call fail if a test wants it.
extern "C" int getsockopt(int socket, int level, int name, void* value, socklen_t* size) noexcept {
    if (level == IPPROTO_TCP && name == TCP_INFO && !tellsTcpState && asked++ % 2 == 1) {
        errno = ENOPROTOOPT;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_getsockopt, socket, level, name, value, size));
}

namespace {

using namespace test;

TEST(HttpExchange, StandsASystemThatDoesNotTellWhatCameIn) {
    const TestProvider provider;
    HttpExchange http;
    tellsTcpState = false;
    EXPECT_EQ(get(http, provider), "accepted");
    EXPECT_EQ(post(http, provider), "accepted");
    tellsTcpState = true;
}

}  // namespace
