#include "tests/support/TestHost.h"

#include "host/HttpProxyConfig.h"
#include "tests/support/Common.h"
#include "tests/support/Trust.h"

namespace {

std::mutex settingsMutex;
std::chrono::milliseconds timeout = test::usualTimeout;
std::string authority;

void set(std::chrono::milliseconds limit, const std::string& file) {
    const std::lock_guard<std::mutex> lock(settingsMutex);
    timeout = limit;
    authority = file;
}

}  // namespace

// The tests' own host: this definition replaces the standalone one.
web::http::client::http_client_config get_http_proxy_config(const web::uri&) {
    web::http::client::http_client_config config;
    const std::lock_guard<std::mutex> lock(settingsMutex);
    config.set_timeout(timeout);
    if (!authority.empty()) {
        test::trust(config, authority);
    }
    return config;
}

namespace test {

HostSettings::HostSettings(std::chrono::milliseconds limit, const std::filesystem::path& file) {
    set(limit, file.string());
}

HostSettings::~HostSettings() {
    set(usualTimeout, {});
}

}  // namespace test
