#include "tests/support/Served.h"
#include "tests/support/Usage.h"

namespace {

using namespace test;
namespace net = boost::asio;

/// The system's error for an address that does not belong to it.
std::string notOurs() {
    constexpr int number = isWide ? 10049 : EADDRNOTAVAIL;
    return boost::system::error_code(number, boost::system::system_category()).message();
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
             {"http://192.0.2.1:8080/", notOurs()},
             {"http://[2001:db8::1]:8080/", notOurs()},
             {"http://host.invalid:8080/", "cannot listen on http://host.invalid:8080/: "},
         }) {
        EXPECT_THAT(failure(url), testing::HasSubstr(reason)) << url;
    }
}

TEST(RedirectServer, ListensOnEveryAddressOfItsHostOrOnNone) {
    const net::ip::address v4 = net::ip::address_v4::loopback();
    const net::ip::address v6 = net::ip::address_v6::loopback();
    // Created before threads are counted: with the first thread, ThreadSanitizer starts its own,
    // which stays.
    const Served mapped(answerAll, "[::ffff:127.0.0.1]");
    const auto port = freePort();
    net::io_context context;
    const auto threads = usage().threads;
    for (const auto& [address, other] : {std::pair(v4, "[::1]"), std::pair(v6, "127.0.0.1")}) {
        Handler handler(answerAll);
        const auto url = to_string_t(urlOf("LocalHost", port));
        std::optional<RedirectServer> server(std::in_place, url, handler);
        EXPECT_NE(RawPeer(port, address).exchange(anyRequest), "");
        server.reset();
        const net::ip::tcp::acceptor taken(context, {address, port});
        EXPECT_NE(failure(urlOf("localhost", port)), "accepted");
        EXPECT_EQ(failure(urlOf(other, port)), "accepted");
    }
    EXPECT_TRUE(eventually([&] { return usage().threads <= threads; }));
    EXPECT_NE(RawPeer(mapped.port, v4).exchange(anyRequest), "");
}

TEST(RedirectServer, OutlivesItsHandlersExceptions) {
    bool thrown = false;
    const Served served([&thrown]() -> RedirectAnswer {
        if (!std::exchange(thrown, true)) {
            throw std::runtime_error("at the request");
        }
        return {200, "text/plain", "!", [] { throw std::runtime_error("at the end"); }};
    });
    EXPECT_EQ(RawPeer(served.port).exchange(anyRequest), "");
    EXPECT_NE(RawPeer(served.port).exchange(anyRequest), "");
    EXPECT_NE(RawPeer(served.port).exchange(anyRequest), "");
}

TEST(RedirectServer, TellsOfTheEndOfAnAnswerThatNobodyTakes) {
    std::promise<void> answered;
    std::atomic<int> ended{0};
    Served served([&]() -> RedirectAnswer {
        answered.set_value();
        return {200, "text/plain", std::string(16U << 20U, ' '), [&ended] { ++ended; }};
    });
    RawPeer peer(served.port);
    peer.send(anyRequest);
    ASSERT_EQ(answered.get_future().wait_for(patience), std::future_status::ready);
    EXPECT_EQ(ended, 0);
    served.server.reset();
    EXPECT_EQ(ended, 1);
}

}  // namespace
