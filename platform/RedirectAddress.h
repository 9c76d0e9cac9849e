#pragma once

#include <boost/asio/ip/address.hpp>
#include <cpprest/details/basic_types.h>

#include <set>
#include <string>

namespace platform {

/// The host and port of a redirect URL.
struct RedirectPlace {
    std::string host;  ///< in lower case; an IPv6 address in brackets
    unsigned short port;
};

/// Throws std::runtime_error, with a text for people, if `url` is not an http URL with a host and
/// optionally a port and a path.
RedirectPlace placeOf(const utility::string_t& url);

/// All addresses of a host; both loopback addresses for localhost. A name is looked up for a few
/// seconds at most. Throws std::runtime_error if there is no address.
std::set<boost::asio::ip::address> addressesOf(const std::string& host);

}  // namespace platform
