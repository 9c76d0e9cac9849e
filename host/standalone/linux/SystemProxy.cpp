#include "host/standalone/detail/SystemProxy.h"

#include <algorithm>
#include <cstdlib>

namespace standalone::detail {

std::optional<std::string> proxyVariable(const std::string& name) {
    const char* const text = std::getenv(name.c_str());
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

std::optional<ProxyList> systemProxies(const web::uri& /*target*/) {
    return std::nullopt;
}

/// The client passes the host to the resolver unchanged, which does not accept the brackets of an
/// IPv6 address.
web::uri proxyAddress(const web::uri& address) {
    utility::string_t host = address.host();
    host.erase(std::remove_if(host.begin(), host.end(),
                              [](utility::char_t c) { return c == '[' || c == ']'; }),
               host.end());
    return web::uri_builder(address).set_host(host).to_uri();
}

}  // namespace standalone::detail
