// The server when the system fails, or when only the system knows what became of a connection.

#include "tests/support/Served.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <new>

namespace {

using namespace std::chrono_literals;
using namespace test;

// The system's part.
std::atomic<int> accepted{-1};      // the last descriptor
std::atomic<int> acceptFailure{0};  // for the next peer, which is lost
std::atomic<int> refusals{0};       // the number of times that the next peer is kept waiting
std::atomic<bool> resolverHangs{false};
thread_local std::chrono::milliseconds timePassed{0};  // since a wait began, on this thread

/// Whether the other side has closed its sending side, although it has not received everything.
bool isEndOfInput(RawPeer& peer) {
    pollfd socket{peer.socket().native_handle(), POLLRDHUP, 0};
    return ::poll(&socket, 1, 0) == 1;
}

/// The server pauses after each of these failures but the first.
TEST(RedirectServer, DoesNotSpinWhileAcceptingFails) {
    const Served served;
    refusals = 4;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(RawPeer(served.port).exchange(anyRequest), testing::StartsWith("HTTP/1.1 200"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);
    EXPECT_EQ(refusals, 0);
}

/// The limit ends soon: its clock starts shortly before the end.
TEST(RedirectServer, GivesUpAHostThatIsNotResolvedInTime) {
    resolverHangs = true;
    timePassed = 4'700ms;
    const auto end = std::chrono::steady_clock::now() + 5s;
    EXPECT_THAT(failure("http://slow.invalid:8080/"),
                testing::HasSubstr("not resolved within 5 s"));
    timePassed = 0ms;
    EXPECT_GE(std::chrono::steady_clock::now(), end);
    resolverHangs = false;
}

// Each write ends within the next field's name, so that only the last field is incomplete.
TEST(RedirectServer, CountsAHeadHoweverItIsCut) {
    constexpr std::size_t limit = 64U << 10U;
    constexpr std::size_t write = 509;  // does not divide the limit
    accepted = -1;
    const Served served;
    RawPeer peer(served.port);
    ASSERT_TRUE(eventually([] { return accepted >= 0; }));
    EXPECT_EQ(::fcntl(accepted, F_GETFD), FD_CLOEXEC);

    const std::string field = ": " + std::string(write - 5, 'x') + "\r\na";
    std::size_t sent = 0;
    for (std::string piece = "GET /" + std::string(write - 17, 'x') + " HTTP/1.1\r\na";
         !peer.hasInput() && sent < 4 * limit; piece = field) {
        ASSERT_EQ(piece.size(), write);
        peer.send(piece);
        sent += write;
        int unread = 0;
        ASSERT_TRUE(
            eventually([&] { return ::ioctl(accepted, FIONREAD, &unread) == 0 && unread == 0; }));
    }
    EXPECT_LE(sent, limit + write);
}

TEST(RedirectServer, HearsTheNextPeerWhateverBecameOfOne) {
    for (const int error : {EMFILE, ENOMEM}) {
        const Served served;
        RawPeer silent(served.port);
        RawPeer(served.port).exchange(anyRequest);  // after it
        acceptFailure = error;
        RawPeer(served.port).receive();
        if (error == EMFILE) {
            EXPECT_EQ(silent.receive(), "") << "makes room";
        }
        EXPECT_THAT(RawPeer(served.port).exchange(anyRequest), testing::StartsWith("HTTP/1.1 200"))
            << error;
    }
}

TEST(RedirectServer, TellsOfTheEndOfAnAnswerBeforeItWaitsForThePeerToLeave) {
    std::optional<RawPeer> peer;
    std::promise<bool> isShutDown;
    const Served served([&] {
        return RedirectAnswer{200, "text/plain", "!",
                              [&] { isShutDown.set_value(isEndOfInput(*peer)); }};
    });
    peer.emplace(served.port).send(anyRequest);
    auto told = isShutDown.get_future();
    ASSERT_EQ(told.wait_for(patience), std::future_status::ready);
    EXPECT_FALSE(told.get());
    EXPECT_THAT(peer->receive(), testing::EndsWith("!"));
}

}  // namespace

// The linker redirects the server's calls to these.
extern "C" {

// Visible, because a sanitizer's library refers to these functions, too.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's names
int __real_accept4(int door, sockaddr* address, socklen_t* size, int flags);
int __real_getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                       addrinfo** found);

[[gnu::visibility("default")]] int __wrap_accept4(int door, sockaddr* address, socklen_t* size,
                                                  int flags) {
    if (refusals > 0) {
        --refusals;
        errno = ENETDOWN;
        return -1;
    }
    const int peer = __real_accept4(door, address, size, flags);
    const int failure = acceptFailure.exchange(0);
    if (failure == 0) {
        accepted = peer >= 0 ? peer : accepted.load();
        return peer;
    }
    ::close(peer);
    if (failure == ENOMEM) {
        throw std::bad_alloc();
    }
    errno = failure;
    return -1;
}

[[gnu::visibility("default")]] int __wrap_getaddrinfo(const char* host, const char* service,
                                                      const addrinfo* hints, addrinfo** found) {
    if (resolverHangs && (hints->ai_flags & AI_NUMERICHOST) == 0) {
        test::eventually([] { return !resolverHangs; }, 2 * test::patience);
    }
    return __real_getaddrinfo(host, service, hints, found);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

std::chrono::steady_clock::time_point steadyNow() noexcept
    __asm__("__real__ZNSt6chrono3_V212steady_clock3nowEv");
[[gnu::visibility("default")]] std::chrono::steady_clock::time_point earlierNow() noexcept
    __asm__("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");

std::chrono::steady_clock::time_point earlierNow() noexcept {
    return steadyNow() - timePassed;
}
