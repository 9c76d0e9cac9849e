#include "platform/RedirectServer.h"
#include "tests/support/LocalPort.h"
#include "tests/support/RawPeer.h"
#include "tests/support/Usage.h"

#include <cpprest/base_uri.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace net = boost::asio;
using platform::RedirectAnswer;
using platform::RedirectServer;
using test::RawPeer;

const std::string get = "GET / HTTP/1.1\r\n\r\n";

unsigned short freePort() {
    return static_cast<unsigned short>(web::uri(test::freeRedirectUrl()).port());
}

std::string urlOf(const std::string& host, unsigned short port) {
    return "http://" + host + ':' + std::to_string(port) + "/callback";
}

/// Answers every request with what the test makes of it.
class Handler final : public platform::RedirectHandler {
public:
    using Answer = std::function<RedirectAnswer()>;

    explicit Handler(Answer answer =
                         [] {
                             return RedirectAnswer{200, "text/plain", "!", {}};
                         })
        : m_answer(std::move(answer)) {}

    std::optional<RedirectAnswer> checkListenerRequest(const std::string& /*method*/,
                                                       const std::string& /*target*/) override {
        return std::nullopt;
    }
    RedirectAnswer handleListenerRequest(const platform::RedirectRequest& /*request*/) override {
        return m_answer();
    }
    RedirectAnswer handleLostBody(const std::string& /*reason*/) override { return m_answer(); }
    RedirectAnswer handleNoRequest() override { return m_answer(); }

private:
    Answer m_answer;
};

std::string failure(const std::string& url) {
    Handler handler;
    try {
        const RedirectServer server(url, handler);
        return "none";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST(RedirectServer, RefusesWhatItCannotListenOn) {
    const std::vector<std::pair<std::string, std::string>> reasons = {
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
        {"http://0:8080/", "all addresses"},
        {"http://[::]:8080/", "all addresses"},
        {"http://192.0.2.1:8080/", "Cannot assign requested address"},
        {"http://[2001:db8::1]:8080/", "Cannot assign requested address"},
        {"http://host.invalid:8080/", "cannot listen on http://host.invalid:8080/: "},
    };
    for (const auto& [url, reason] : reasons) {
        EXPECT_THAT(failure(url), testing::HasSubstr(reason)) << url;
    }
}

TEST(RedirectServer, ListensOnEveryAddressOfItsHostOrOnNone) {
    const net::ip::address v4 = net::ip::address_v4::loopback();
    const net::ip::address v6 = net::ip::address_v6::loopback();
    const auto port = freePort();
    net::io_context context;
    for (const auto& [address, other] : {std::pair(v4, "[::1]"), std::pair(v6, "127.0.0.1")}) {
        Handler handler;
        std::optional<RedirectServer> server(std::in_place, urlOf("LocalHost", port), handler);
        EXPECT_NE(RawPeer(port, address).exchange(get), "");
        server.reset();
        const net::ip::tcp::acceptor taken(context, {address, port});
        EXPECT_NE(failure(urlOf("localhost", port)), "none");
        EXPECT_EQ(failure(urlOf(other, port)), "none");
    }
}

TEST(RedirectServer, OutlivesItsHandlersExceptions) {
    bool thrown = false;
    Handler handler([&thrown]() -> RedirectAnswer {
        if (!std::exchange(thrown, true)) {
            throw std::runtime_error("at the request");
        }
        return {200, "text/plain", "!", [] { throw std::runtime_error("at the end"); }};
    });
    const auto port = freePort();
    const RedirectServer server(urlOf("localhost", port), handler);
    EXPECT_EQ(RawPeer(port).exchange(get), "");
    EXPECT_NE(RawPeer(port).exchange(get), "");
    EXPECT_NE(RawPeer(port).exchange(get), "");
}

TEST(RedirectServer, TellsOfTheEndOfAnAnswerThatNobodyTakes) {
    std::promise<void> answered;
    std::atomic<int> ended{0};
    Handler handler([&]() -> RedirectAnswer {
        answered.set_value();
        return {200, "text/plain", std::string(16U << 20U, ' '), [&ended] { ++ended; }};
    });
    const auto port = freePort();
    std::optional<RedirectServer> server(std::in_place, urlOf("localhost", port), handler);
    RawPeer peer(port);
    peer.send(get);
    answered.get_future().wait();
    EXPECT_EQ(ended, 0);
    server.reset();
    EXPECT_EQ(ended, 1);
}

TEST(RedirectServer, LeavesNothingBehind) {
    const auto round = [port = freePort()] {
        Handler handler;
        const RedirectServer server(urlOf("localhost", port), handler);
        const RawPeer idle(port);
        RawPeer half(port);
        half.send("POST / HTTP/1.1\r\nContent-Length: 9\r\n\r\n");
        EXPECT_NE(RawPeer(port).exchange(get), "");
    };
    round();
    const auto before = test::usage();
    for (int i = 0; i < 20; ++i) {
        round();
    }
    const auto after = test::usage();
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
}

}  // namespace
