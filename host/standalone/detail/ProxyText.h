#pragma once

#include "host/standalone/ProxySettings.h"

#include <boost/asio/ip/address.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace standalone::detail {

struct Endpoint {
    std::string host;  ///< lower case, without brackets and trailing dot
    int port = 0;      ///< 0 if none is given
};

std::string schemeOf(const web::uri& target);

/// If the target has no port, that of its scheme.
Endpoint endpointOf(const web::uri& target);

/// `host`, `host:port`, `[v6]`, `[v6]:port`, or an IPv6 address without brackets. web::uri is
/// unsuitable: it accepts ports out of range and invents one for `host:`.
std::optional<Endpoint> parseEndpoint(std::string_view text);

std::optional<boost::asio::ip::address> parseAddress(const std::string& text);

/// Whether the host, a name or an address, is this machine.
bool isLoopback(const std::string& host);

/// Throws ProxySettingsError with `name`.
Proxy parseProxy(const std::string& name, std::string_view text);

}  // namespace standalone::detail
