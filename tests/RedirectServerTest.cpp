#include "platform/RedirectServer.h"
#include "tests/support/LocalPort.h"
#include "tests/support/Outcome.h"
#include "tests/support/RawPeer.h"
#include "tests/support/Test.h"
#include "tests/support/Usage.h"

#include <cpprest/base_uri.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <new>

namespace {

using namespace std::chrono_literals;
namespace net = boost::asio;
using platform::RedirectAnswer;
using platform::RedirectServer;
using test::RawPeer;

// The system's part.
std::atomic<int> accepted{-1};      // the last descriptor
std::atomic<int> acceptFailure{0};  // for the next peer, which is lost
std::atomic<bool> resolverHangs{false};
thread_local std::chrono::milliseconds timePassed{0};  // since a wait began, as this thread sees it

const std::string get = "GET / HTTP/1.1\r\n\r\n";

unsigned short freePort() {
    return static_cast<unsigned short>(web::uri(test::freeRedirectUrl()).port());
}

std::string urlOf(const std::string& host, unsigned short port) {
    return "http://" + host + ':' + std::to_string(port) + "/callback";
}

RedirectAnswer answerAll() {
    return {200, "text/plain", "!", {}};
}

/// Answers every request with what the test makes of it.
class Handler final : public platform::RedirectHandler {
public:
    using Answer = std::function<RedirectAnswer()>;

    explicit Handler(Answer answer) : m_answer(std::move(answer)) {}

    std::optional<RedirectAnswer> judgeHead(const std::string& /*method*/,
                                            const std::string& /*target*/) override {
        return std::nullopt;
    }
    RedirectAnswer answer(const platform::RedirectRequest& /*request*/) override {
        return m_answer();
    }
    RedirectAnswer answerLostBody(const std::string& /*reason*/) override { return m_answer(); }
    RedirectAnswer answerNoRequest() override { return m_answer(); }

private:
    Answer m_answer;
};

/// A server with its handler, on a port that was free.
struct Served {
    explicit Served(Handler::Answer answer = answerAll, const std::string& host = "127.0.0.1")
        : handler(std::move(answer)) {
        server.emplace(urlOf(host, port), handler);
    }

    Handler handler;
    const unsigned short port = freePort();
    std::optional<RedirectServer> server;
};

std::string failure(const std::string& url) {
    Handler handler(answerAll);
    return test::outcome([&] { const RedirectServer server(url, handler); });
}

TEST(RedirectServer, RefusesWhatItCannotListenOn) {
    for (const auto& [url, reason] : std::vector<std::pair<std::string, std::string>>{
             {"http://exa mple/", "not a URL"},
             {"localhost:8080", "scheme is not http"},
             {"https://localhost:8080/", "scheme is not http"},
             {"http:///callback", "no host"},
             {"http://user@localhost:8080/", "names a user"},
             {"http://localhost:8080/?", "a query or a fragment"},
             {"http://localhost:8080/#a", "a query or a fragment"},
             {"http://[::1]:00", "port is not within"},
             {"http://localhost:65536/", "port is not within"},
             {"http://localhost:4294967376/", "port is not within"},
             {"http://localhost:80a/", "malformed"},
             {"http://[::1/", "malformed"},
             {"http://[::1]a:80/", "malformed"},
             {"http://0/", "all addresses"},
             {"http://000/cb", "all addresses"},
             {"http://[::ffff:0.0.0.0]:8080/", "all addresses"},
             {"http://[::]:8080/", "all addresses"},
             {"http://192.0.2.1:8080/", "Cannot assign requested address"},
             {"http://[2001:db8::1]:8080/", "Cannot assign requested address"},
             {"http://host.invalid:8080/", "cannot listen on http://host.invalid:8080/: "},
         }) {
        EXPECT_THAT(failure(url), testing::HasSubstr(reason)) << url;
    }
}

TEST(RedirectServer, ListensOnEveryAddressOfItsHostOrOnNone) {
    const net::ip::address v4 = net::ip::address_v4::loopback();
    const net::ip::address v6 = net::ip::address_v6::loopback();
    // Its thread is there before they are counted: with the first one, ThreadSanitizer begins one
    // of its own, that stays.
    const Served mapped(answerAll, "[::ffff:127.0.0.1]");
    const auto port = freePort();
    net::io_context context;
    const auto threads = test::usage().threads;
    for (const auto& [address, other] : {std::pair(v4, "[::1]"), std::pair(v6, "127.0.0.1")}) {
        Handler handler(answerAll);
        std::optional<RedirectServer> server(std::in_place, urlOf("LocalHost", port), handler);
        EXPECT_NE(RawPeer(port, address).exchange(get), "");
        server.reset();
        const net::ip::tcp::acceptor taken(context, {address, port});
        EXPECT_NE(failure(urlOf("localhost", port)), "accepted");
        EXPECT_EQ(failure(urlOf(other, port)), "accepted");
    }
    EXPECT_TRUE(test::eventually([&] { return test::usage().threads <= threads; }));
    EXPECT_NE(RawPeer(mapped.port, v4).exchange(get), "");
}

/// The limit ends soon: where it begins, it is almost over.
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

// Each write ends in the next field's name, so that no field but the last one is waiting.
TEST(RedirectServer, CountsAHeadHoweverItIsCut) {
    constexpr std::size_t limit = 64U << 10U;
    constexpr std::size_t write = 509;  // does not end at the limit
    accepted = -1;
    const Served served;
    RawPeer peer(served.port);
    ASSERT_TRUE(test::eventually([] { return accepted >= 0; }));
    EXPECT_EQ(::fcntl(accepted, F_GETFD), FD_CLOEXEC);

    const std::string field = ": " + std::string(write - 5, 'x') + "\r\na";
    std::size_t sent = 0;
    for (std::string piece = "GET /" + std::string(write - 17, 'x') + " HTTP/1.1\r\na";
         !peer.has(POLLIN) && sent < 4 * limit; piece = field) {
        ASSERT_EQ(piece.size(), write);
        peer.send(piece);
        sent += write;
        int unread = 0;
        ASSERT_TRUE(test::eventually(
            [&] { return ::ioctl(accepted, FIONREAD, &unread) == 0 && unread == 0; }));
    }
    EXPECT_LE(sent, limit + write);
}

TEST(RedirectServer, HearsTheNextPeerWhateverBecameOfOne) {
    for (const int error : {EMFILE, ENOMEM}) {
        const Served served;
        RawPeer silent(served.port);
        RawPeer(served.port).exchange(get);  // behind it
        acceptFailure = error;
        RawPeer(served.port).receive();
        if (error == EMFILE) {
            EXPECT_EQ(silent.receive(), "") << "makes room";
        }
        EXPECT_THAT(RawPeer(served.port).exchange(get), testing::StartsWith("HTTP/1.1 200"))
            << error;
    }
}

TEST(RedirectServer, OutlivesItsHandlersExceptions) {
    bool thrown = false;
    const Served served([&thrown]() -> RedirectAnswer {
        if (!std::exchange(thrown, true)) {
            throw std::runtime_error("at the request");
        }
        return {200, "text/plain", "!", [] { throw std::runtime_error("at the end"); }};
    });
    EXPECT_EQ(RawPeer(served.port).exchange(get), "");
    EXPECT_NE(RawPeer(served.port).exchange(get), "");
    EXPECT_NE(RawPeer(served.port).exchange(get), "");
}

TEST(RedirectServer, TellsOfTheEndOfAnAnswerThatNobodyTakes) {
    std::promise<void> answered;
    std::atomic<int> ended{0};
    Served served([&]() -> RedirectAnswer {
        answered.set_value();
        return {200, "text/plain", std::string(16U << 20U, ' '), [&ended] { ++ended; }};
    });
    RawPeer peer(served.port);
    peer.send(get);
    ASSERT_EQ(answered.get_future().wait_for(test::patience), std::future_status::ready);
    EXPECT_EQ(ended, 0);
    served.server.reset();
    EXPECT_EQ(ended, 1);
}

TEST(RedirectServer, TellsOfTheEndOfAnAnswerBeforeItWaitsForThePeerToLeave) {
    std::optional<RawPeer> peer;
    std::promise<bool> isShutDown;
    const Served served([&] {
        return RedirectAnswer{200, "text/plain", "!",
                              [&] { isShutDown.set_value(peer->has(POLLRDHUP)); }};
    });
    peer.emplace(served.port).send(get);
    auto told = isShutDown.get_future();
    ASSERT_EQ(told.wait_for(test::patience), std::future_status::ready);
    EXPECT_FALSE(told.get());
    EXPECT_THAT(peer->receive(), testing::EndsWith("!"));
}

}  // namespace

// The linker leads the server here.
extern "C" {

// Visible, since a sanitizer's library refers to these functions, too.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): as the linker names them
int __real_accept4(int door, sockaddr* address, socklen_t* size, int flags);
int __real_getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                       addrinfo** found);

[[gnu::visibility("default")]] int __wrap_accept4(int door, sockaddr* address, socklen_t* size,
                                                  int flags) {
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
