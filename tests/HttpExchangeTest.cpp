#include "auth/detail/Fetch.h"
#include "tests/support/Exchange.h"
#include "tests/support/HttpClient.h"
#include "tests/support/RawPeer.h"
#include "tests/support/TestClock.h"
#include "tests/support/TestHost.h"
#include "tests/support/Threads.h"
#include "tests/support/Usage.h"

namespace {

using namespace std::chrono_literals;
using namespace test;

TEST(HttpExchange, KeepsOneConnectionAndNoticesWhenItIsGone) {
    TestProvider provider;
    HttpExchange http;
    EXPECT_EQ(get(http, provider), "accepted");
    EXPECT_EQ(get(http, provider), "accepted");
    EXPECT_EQ(provider.connections(), 1U);

    provider.closeAfterAnswer(Endpoint::Discovery);
    EXPECT_EQ(get(http, provider), "accepted");
    ASSERT_TRUE(provider.waitForClosed(1, patience));
    provider.reset();
    EXPECT_EQ(get(http, provider), "accepted");
    EXPECT_EQ(provider.connections(), 2U);
    EXPECT_EQ(provider.requests().size(), 4U);
}

TEST(HttpExchange, PostsOnceThoughTheKeptConnectionIsGone) {
    TestProvider provider;
    for (std::size_t i = 1; i <= 50; ++i) {
        HttpExchange http;
        provider.closeAfterAnswer(Endpoint::Discovery);
        EXPECT_EQ(get(http, provider), "accepted");
        ASSERT_TRUE(provider.waitForClosed(provider.connections(), patience));
        EXPECT_EQ(post(http, provider), "accepted");
        EXPECT_EQ(provider.requests(Endpoint::Token).size(), i);
    }
}

/// The peer accepts the data, so only the connection's state shows that no answer will come.
TEST(HttpExchange, PostsOverNoConnectionThatThePeerHasHalfClosed) {
    boost::asio::io_context io;
    boost::asio::ip::tcp::acceptor door(io, {boost::asio::ip::address_v4::loopback(), 0});
    std::list<boost::asio::ip::tcp::socket> peers;
    std::atomic<std::size_t> closed{0};
    const auto served = std::async(std::launch::async, [&] {
        for (; closed < 2; ++closed) {
            auto& peer = peers.emplace_back(door.accept());
            boost::asio::write(peer, boost::asio::buffer("HTTP/1.1 204 No Content\r\n\r\n", 27));
            peer.shutdown(peer.shutdown_send);
        }
    });
    HttpExchange http;
    const auto url = "http://127.0.0.1:" + std::to_string(door.local_endpoint().port());
    EXPECT_EQ(get(http, url), "accepted");
    EXPECT_TRUE(eventually([&] { return closed == 1; }));
    EXPECT_EQ(post(http, url), "accepted");
    const RawPeer last(door.local_endpoint().port());  // in case it still waits for one
}

TEST(HttpExchange, PostsOverAConnectionThatHasNotRestedLong) {
    TestProvider provider;
    TestClock clock;
    auto now = std::chrono::system_clock::now();
    const auto rest = [&](auto time) { clock.freezeAt(now += time); };
    HttpExchange http;
    rest(0s);
    EXPECT_EQ(get(http, provider), "accepted");
    for (const auto& [time, connections] : {std::pair{3'000ms, 1U}, {3'001ms, 2U}, {3'000ms, 2U}}) {
        rest(time);
        EXPECT_EQ(post(http, provider), "accepted");
        EXPECT_EQ(provider.connections(), connections);
    }
    rest(4s);
    EXPECT_EQ(get(http, provider), "accepted");
    EXPECT_EQ(provider.connections(), 2U);
}

TEST(HttpExchange, TakesAHostWithoutTimeLimit) {
    const TestProvider provider;
    for (const auto limit : {0ms, -1ms,
                             std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::microseconds::max())}) {
        const HostSettings none(limit);
        HttpExchange http;
        EXPECT_EQ(get(http, provider), "accepted") << limit.count();
    }
}

TEST(HttpExchange, EndsAtOnceWhenCancelled) {
    TestProvider provider;
    HttpExchange http;
    const auto at = Endpoint::Discovery;
    for (const auto& fault : std::vector<std::function<void()>>{
             [&] { provider.neverAnswer(at); }, [&] { provider.slowHead(at, 20ms); },
             [&] { provider.slowBody(at, 20ms); }}) {
        provider.reset();
        fault();
        const cancellation_token_source source;
        const auto received = provider.requests().size();
        const auto answer = http.send(to(provider.configUrl()), source.get_token(), anyHead);
        const auto fetched =
            auth::detail::fetch(to(provider.configUrl()).target, source.get_token(), anyHead);
        ASSERT_TRUE(provider.waitForRequests(at, received + 2, patience));
        source.cancel();
        EXPECT_EQ(outcome(answer), "cancelled");
        EXPECT_EQ(outcome(fetched), "cancelled");
        EXPECT_TRUE(!httpClient.closesWhenCancelled ||
                    provider.waitForClosed(provider.connections(), patience));
        // And a cancelled token sends nothing.
        EXPECT_EQ(get(http, provider.configUrl(), source.get_token()), "cancelled");
        EXPECT_EQ(provider.requests().size(), received + 2);
    }
}

TEST(HttpExchange, ServesSeveralThreads) {
    const TestProvider provider;
    HttpExchange http;
    onThreads(4, [&](int) {
        EXPECT_EQ(get(http, provider), "accepted");
        EXPECT_EQ(post(http, provider), "accepted");
    });
}

TEST(HttpExchange, CountsWhatComesInOfEachAnswerAlone) {
    TestProvider provider;
    provider.hugeBody(Endpoint::Discovery, 256U << 10U);
    HttpExchange http;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(get(http, provider), "accepted") << i;
    }
}

TEST(HttpExchange, LetsGoOfALongLivedToken) {
    const cancellation_token_source source;
    EXPECT_FALSE(growsEachTime(60, [&] {
        const TestProvider provider;  // it records the requests that it receives
        HttpExchange http;
        for (int i = 0; i < 200; ++i) {
            ASSERT_EQ(get(http, provider.configUrl(), source.get_token()), "accepted");
        }
    }));
}

}  // namespace
