#include "tests/support/TestHost.h"

#include "host/HttpProxyConfig.h"

#include <boost/asio/ssl/context.hpp>

#include <atomic>
#include <mutex>
#include <string>

namespace {

// Longer than any test has to wait for, unless it says so.
constexpr std::chrono::milliseconds usual{60'000};
std::atomic<std::chrono::milliseconds> timeout{usual};

std::mutex authorityMutex;
std::string authority;

}  // namespace

// The tests' own host: this definition stands before the standalone one.
web::http::client::http_client_config get_http_proxy_config(const web::uri&) {
    web::http::client::http_client_config config;
    config.set_timeout(timeout.load());
    const std::lock_guard<std::mutex> lock(authorityMutex);
    if (!authority.empty()) {
        config.set_ssl_context_callback([file = authority](boost::asio::ssl::context& context) {
            context.load_verify_file(file);
        });
    }
    return config;
}

namespace test {

HttpTimeout::HttpTimeout(std::chrono::milliseconds limit) {
    timeout = limit;
}

HttpTimeout::~HttpTimeout() {
    timeout = usual;
}

TrustedAuthority::TrustedAuthority(const std::filesystem::path& file) {
    const std::lock_guard<std::mutex> lock(authorityMutex);
    authority = file.string();
}

TrustedAuthority::~TrustedAuthority() {
    const std::lock_guard<std::mutex> lock(authorityMutex);
    authority.clear();
}

}  // namespace test
