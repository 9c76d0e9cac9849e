#pragma once

#include <boost/asio/ip/address.hpp>
#include <cpprest/details/basic_types.h>

#include <set>
#include <string>

namespace platform {

/// Where a redirect URL leads.
struct RedirectPlace {
    std::string host;  ///< in lower case, an IPv6 address in its brackets
    unsigned short port;
};

/// Throws std::runtime_error, with a text for people, when `url` is not http with a host and
/// perhaps a port and a path.
RedirectPlace placeOf(const utility::string_t& url);

/// All addresses of a host; both loopback addresses for localhost. A name is looked up for some
/// seconds at most. Throws std::runtime_error when there is none.
std::set<boost::asio::ip::address> addressesOf(const std::string& host);

}  // namespace platform
