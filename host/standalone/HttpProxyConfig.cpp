#include "host/HttpProxyConfig.h"

#include "host/standalone/ProxySettings.h"

#include <algorithm>
#include <chrono>

namespace {

/// Bounds one whole exchange. Long enough for a provider behind a slow link, short enough that a
/// user who waits for a sign-in sees an error instead of a hang.
constexpr std::chrono::seconds exchangeTimeout{30};

/// The client gives the host to the resolver as it stands, which does not know the brackets of an
/// IPv6 address.
web::uri resolvable(const web::uri& address) {
    utility::string_t host = address.host();
    host.erase(std::remove_if(host.begin(), host.end(),
                              [](utility::char_t c) { return c == '[' || c == ']'; }),
               host.end());
    return web::uri_builder(address).set_host(host).to_uri();
}

}  // namespace

web::http::client::http_client_config get_http_proxy_config(const web::uri& target) {
    web::http::client::http_client_config config;
    config.set_timeout(exchangeTimeout);
    // Explicit in both cases: what the client's default means differs between systems.
    config.set_proxy(web::web_proxy::disabled);
    if (const auto proxy = standalone::ProxySettings::fromEnvironment().proxyFor(target)) {
        web::web_proxy chosen(resolvable(proxy->address));
        chosen.set_credentials({utility::conversions::to_string_t(proxy->user),
                                utility::conversions::to_string_t(proxy->password)});
        config.set_proxy(chosen);
    }
    return config;
}
