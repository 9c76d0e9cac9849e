#include "tests/support/TestHost.h"

#include "host/HttpProxyConfig.h"

#include <atomic>

namespace {

// Longer than any test has to wait for, unless it says so.
constexpr std::chrono::milliseconds usual{60'000};
std::atomic<std::chrono::milliseconds> timeout{usual};

}  // namespace

// The tests' own host: this definition stands before the standalone one.
web::http::client::http_client_config get_http_proxy_config(const web::uri&) {
    web::http::client::http_client_config config;
    config.set_timeout(timeout.load());
    return config;
}

namespace test {

HttpTimeout::HttpTimeout(std::chrono::milliseconds limit) {
    timeout = limit;
}

HttpTimeout::~HttpTimeout() {
    timeout = usual;
}

}  // namespace test
