#include "platform/RedirectAddress.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cpprest/asyncrt_utils.h>
#include <cpprest/base_uri.h>

#include <charconv>
#include <chrono>
#include <cstddef>
#include <future>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace platform {

namespace {

namespace net = boost::asio;
using boost::system::error_code;
using net::ip::tcp;
using Resolver = tcp::resolver;

constexpr unsigned short defaultPort = 80;
constexpr std::chrono::seconds lookupLimit{5};
constexpr const char* malformed = "its host or port is malformed";

void require(bool met, const std::string& reason) {
    if (!met) {
        throw std::runtime_error(reason);
    }
}

// The URL class truncates a port to 16 bits and does not distinguish a missing port from port 0, so
// the text is parsed.
unsigned short portOf(const std::string& digits) {
    if (digits.empty()) {
        return defaultPort;
    }
    const char* const last = digits.data() + digits.size();
    unsigned short port = 0;
    const auto [end, error] = std::from_chars(digits.data(), last, port);
    require(end == last, malformed);
    require(error == std::errc() && port != 0, "its port is not within 1 and 65535");
    return port;
}

/// The system's resolver cannot be interrupted and can take minutes. It runs on its own thread,
/// which is abandoned when the time is over and ends with the lookup.
Resolver::results_type lookUp(const std::string& host) {
    std::packaged_task<Resolver::results_type()> lookup([host] {
        net::io_context context;
        return Resolver(context).resolve(host, {}, Resolver::flags{});
    });
    auto found = lookup.get_future();
    std::thread(std::move(lookup)).detach();
    require(found.wait_for(lookupLimit) == std::future_status::ready,
            "its host is not resolved within " + std::to_string(lookupLimit.count()) + " s");
    return found.get();
}

Resolver::results_type resolve(const std::string& host) {
    error_code isName;
    net::io_context context;
    const auto literal = Resolver(context).resolve(host, {}, Resolver::numeric_host, isName);
    return isName ? lookUp(host) : literal;
}

/// An IPv4 address that is mapped to IPv6 can only be used by IPv4 sockets.
net::ip::address plain(const net::ip::address& address) {
    if (address.is_v6() && address.to_v6().is_v4_mapped()) {
        return net::ip::make_address_v4(net::ip::v4_mapped, address.to_v6());
    }
    return address;
}

}  // namespace

RedirectPlace placeOf(const utility::string_t& url) {
    require(web::uri::validate(url), "it is not a URL");
    const std::string text =
        boost::algorithm::to_lower_copy(utility::conversions::to_utf8string(url));
    require(text.compare(0, text.find(':'), "http") == 0, "its scheme is not http");
    require(text.find_first_of("?#") == std::string::npos, "it has a query or a fragment");
    const std::string prefix = "http://";
    require(text.compare(0, prefix.size(), prefix) == 0, "it has no host");
    const std::string authority =
        text.substr(prefix.size(), text.find('/', prefix.size()) - prefix.size());
    require(authority.find('@') == std::string::npos, "it names a user");

    const std::size_t bracket = authority.find(']');
    const std::size_t colon = authority.find(':', bracket == std::string::npos ? 0 : bracket);
    const std::string host = authority.substr(0, colon);
    require(!host.empty(), "it has no host");
    return {host, portOf(colon == std::string::npos ? "" : authority.substr(colon + 1))};
}

std::set<net::ip::address> addressesOf(const std::string& host) {
    // Browsers try both addresses, whatever the resolver here returns.
    if (host == "localhost") {
        return {net::ip::address_v4::loopback(), net::ip::address_v6::loopback()};
    }
    if (host.front() == '[' && host.back() == ']') {
        error_code error;
        const auto address = net::ip::make_address_v6(host.substr(1, host.size() - 2), error);
        require(!error, malformed);
        return {plain(address)};
    }
    require(host.find_first_of("[:]") == std::string::npos, malformed);
    std::set<net::ip::address> addresses;
    for (const auto& entry : resolve(host)) {
        addresses.insert(plain(entry.endpoint().address()));
    }
    return addresses;
}

}  // namespace platform
