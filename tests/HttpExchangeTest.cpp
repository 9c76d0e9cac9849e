#include "auth/detail/HttpExchange.h"
#include "testing/TestProvider.h"
#include "tests/support/Eventually.h"
#include "tests/support/TestClock.h"
#include "tests/support/TestHost.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace {

std::atomic<bool> tellsTcpState{true};
std::atomic<unsigned> asked{0};

}  // namespace

/// Stands before the system's; tells every second time when it shall not.
extern "C" int getsockopt(int socket, int level, int name, void* value, socklen_t* size) noexcept {
    if (level == IPPROTO_TCP && name == TCP_INFO && !tellsTcpState && asked++ % 2 == 1) {
        errno = ENOPROTOOPT;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_getsockopt, socket, level, name, value, size));
}

namespace {

using namespace std::chrono_literals;
using auth::detail::HttpExchange;
using auth::detail::HttpRequest;
using auth::testing::Endpoint;
using auth::testing::TestProvider;
using web::http::http_response;

HttpRequest to(const std::string& url) {
    return {utility::conversions::to_string_t(url), {}, {}};
}

Concurrency::task<std::string> get(
    HttpExchange& http, const TestProvider& provider,
    const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none()) {
    return http.send(to(provider.configUrl()), token, [](const http_response&) {})
        .then([](const http_response& response) { return response.extract_utf8string(true); });
}

Concurrency::task<http_response> post(HttpExchange& http, const TestProvider& provider) {
    HttpRequest request = to(provider.tokenEndpoint());
    request.headers.set_content_type("application/x-www-form-urlencoded");
    request.body = "grant_type=client_credentials";
    return http.send(request, Concurrency::cancellation_token::none(), [](const http_response&) {});
}

TEST(HttpExchange, KeepsOneConnectionAndNoticesWhenItIsGone) {
    TestProvider provider;
    HttpExchange http;
    get(http, provider).get();
    get(http, provider).get();
    EXPECT_EQ(provider.connections(), 1U);

    provider.closeAfterAnswer(Endpoint::Discovery);
    get(http, provider).get();
    ASSERT_TRUE(provider.waitForClosed(1, test::patience));
    provider.reset();
    get(http, provider).get();
    EXPECT_EQ(provider.connections(), 2U);
    EXPECT_EQ(provider.requests().size(), 4U);
}

TEST(HttpExchange, PostsOnceThoughTheKeptConnectionIsGone) {
    TestProvider provider;
    for (std::size_t i = 1; i <= 50; ++i) {
        HttpExchange http;
        provider.closeAfterAnswer(Endpoint::Discovery);
        get(http, provider).get();
        ASSERT_TRUE(provider.waitForClosed(provider.connections(), test::patience));
        EXPECT_NO_THROW(post(http, provider).get());
        EXPECT_EQ(provider.requests(Endpoint::Token).size(), i);
    }
}

TEST(HttpExchange, PostsOverAConnectionThatHasNotRestedLong) {
    TestProvider provider;
    test::TestClock clock;
    HttpExchange http;
    get(http, provider).get();
    for (const auto& [rest, connections] : {std::pair{2s, 1U}, {4s, 2U}, {2s, 2U}}) {
        clock.advance(rest);
        post(http, provider).get();
        EXPECT_EQ(provider.connections(), connections);
    }
    clock.advance(4s);
    get(http, provider).get();
    EXPECT_EQ(provider.connections(), 2U);
}

TEST(HttpExchange, TakesAHostWithoutTimeLimit) {
    const TestProvider provider;
    for (const auto limit : {0ms, -1ms,
                             std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::microseconds::max())}) {
        const test::HttpTimeout none(limit);
        HttpExchange http;
        EXPECT_NO_THROW(get(http, provider).get()) << limit.count();
    }
}

TEST(HttpExchange, StandsASystemThatDoesNotTellWhatCameIn) {
    const TestProvider provider;
    HttpExchange http;
    tellsTcpState = false;
    EXPECT_NO_THROW(get(http, provider).get());
    EXPECT_NO_THROW(post(http, provider).get());
    tellsTcpState = true;
}

TEST(HttpExchange, EndsAtOnceWhenCancelled) {
    TestProvider provider;
    const auto cancelledDuring = [&](const std::function<void()>& arrange) {
        provider.reset();
        arrange();
        HttpExchange http;
        const Concurrency::cancellation_token_source source;
        const auto received = provider.requests().size();
        const auto answer = get(http, provider, source.get_token());
        ASSERT_TRUE(provider.waitForRequests(Endpoint::Discovery, received + 1, test::patience));
        source.cancel();
        EXPECT_THROW(answer.get(), Concurrency::task_canceled);
        EXPECT_TRUE(provider.waitForClosed(provider.connections(), test::patience));
    };
    cancelledDuring([&] { provider.neverAnswer(Endpoint::Discovery); });
    cancelledDuring([&] { provider.slowHead(Endpoint::Discovery, 20ms); });
    cancelledDuring([&] { provider.slowBody(Endpoint::Discovery, 20ms); });
}

TEST(HttpExchange, SendsNothingForACancelledToken) {
    TestProvider provider;
    HttpExchange http;
    const Concurrency::cancellation_token_source source;
    source.cancel();
    EXPECT_THROW(get(http, provider, source.get_token()).get(), Concurrency::task_canceled);
    EXPECT_EQ(provider.connections(), 0U);
}

TEST(HttpExchange, LetsGoOfALongLivedToken) {
    TestProvider provider;
    const Concurrency::cancellation_token_source source;
    const auto state = std::make_shared<int>();
    HttpExchange()
        .send(to(provider.configUrl()), source.get_token(), [state](const http_response&) {})
        .get();
    while (state.use_count() > 1) {
        std::this_thread::yield();  // the HTTP library drops its handlers a moment later
    }
}

TEST(HttpExchange, ReportsAPeerThatIsNotThere) {
    // Bound, so that nobody else has the port, but not listening.
    boost::asio::io_context io;
    const boost::asio::ip::tcp::socket reserved(io, {boost::asio::ip::address_v4::loopback(), 0});
    const auto port = reserved.local_endpoint().port();
    HttpExchange http;
    const auto answer =
        http.send(to("http://127.0.0.1:" + std::to_string(port)),
                  Concurrency::cancellation_token::none(), [](const http_response&) {});
    try {
        answer.get();
        ADD_FAILURE() << "answered";
    } catch (const web::http::http_exception& error) {
        EXPECT_TRUE(error.error_code());
    }
}

}  // namespace
