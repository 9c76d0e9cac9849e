#include "host/HttpProxyConfig.h"

#include "host/standalone/ProxySettings.h"
#include "host/standalone/detail/SystemProxy.h"

#include <chrono>
#include <optional>

namespace {

/// The limit for one whole exchange: long enough for a provider behind a slow link, short enough
/// that a user who waits for a sign-in sees an error instead of a hang.
constexpr std::chrono::seconds exchangeTimeout{30};

/// Settings for this process take precedence over settings for the whole system.
std::optional<standalone::Proxy> proxyFor(const web::uri& target) {
    const auto environment = standalone::ProxySettings::fromEnvironment();
    if (environment.decides(target)) {
        return environment.proxyFor(target);
    }
    const auto system = standalone::detail::systemProxies(target);
    return system ? system->proxyFor(target) : std::nullopt;
}

}  // namespace

web::http::client::http_client_config get_http_proxy_config(const web::uri& target) {
    web::http::client::http_client_config config;
    config.set_timeout(exchangeTimeout);
    // Explicit in both cases: the meaning of the client's default differs between systems.
    config.set_proxy(web::web_proxy::disabled);
    if (const auto proxy = proxyFor(target)) {
        web::web_proxy chosen(standalone::detail::proxyAddress(proxy->address));
        chosen.set_credentials({utility::conversions::to_string_t(proxy->user),
                                utility::conversions::to_string_t(proxy->password)});
        config.set_proxy(chosen);
    }
    return config;
}
