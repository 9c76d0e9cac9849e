#pragma once

#include "host/standalone/ProxySettings.h"

#include <boost/asio/ip/address.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace standalone::detail {

struct Endpoint {
    std::string host;  ///< lower case, without brackets and trailing dot
    int port = 0;      ///< 0 when none is given
};

std::string schemeOf(const web::uri& target);

/// With the port of its scheme when it names none.
Endpoint endpointOf(const web::uri& target);

/// `host`, `host:port`, `[v6]`, `[v6]:port`, or an IPv6 address without brackets. web::uri does not
/// do here: it accepts ports out of range and makes one up for `host:`.
std::optional<Endpoint> parseEndpoint(std::string_view text);

std::optional<boost::asio::ip::address> parseAddress(const std::string& text);

/// This machine, by its name or address.
bool isLoopback(const std::string& host);

/// Throws ProxySettingsError with `name`.
Proxy parseProxy(const std::string& name, std::string_view text);

}  // namespace standalone::detail
