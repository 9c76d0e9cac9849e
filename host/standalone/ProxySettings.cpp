#include "host/standalone/ProxySettings.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <initializer_list>
#include <string_view>

namespace standalone {
namespace {

namespace ip = boost::asio::ip;

constexpr int httpPort = 80;
constexpr int httpsPort = 443;

struct Endpoint {
    std::string host;  ///< lower case, without brackets and trailing dot
    int port = 0;      ///< 0 when none is given
};

using utility::conversions::to_string_t;
using utility::conversions::to_utf8string;

bool isHttps(const web::uri& target) {
    return to_utf8string(target.scheme()) == "https";
}

std::string decoded(const std::string& text) {
    return to_utf8string(web::uri::decode(to_string_t(text)));
}

std::string canonicalHost(std::string_view host) {
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    if (!host.empty() && host.back() == '.') {
        host.remove_suffix(1);
    }
    return boost::algorithm::to_lower_copy(std::string(host), std::locale::classic());
}

/// `host`, `host:port`, `[v6]`, `[v6]:port`, or an IPv6 address without brackets. web::uri does not
/// do here: it accepts ports out of range and makes one up for `host:`.
std::optional<Endpoint> parseEndpoint(std::string_view text) {
    const auto colon = text.rfind(':');
    const bool bareV6 = text.find(':') != colon && text.front() != '[';
    if (colon == std::string_view::npos || bareV6 || text.back() == ']') {
        return Endpoint{canonicalHost(text)};
    }
    const std::string_view digits = text.substr(colon + 1);
    Endpoint endpoint{canonicalHost(text.substr(0, colon))};
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), endpoint.port);
    const bool valid = error == std::errc() && end == digits.data() + digits.size() &&
                       endpoint.port > 0 && endpoint.port <= 0xFFFF;
    return valid ? std::optional(endpoint) : std::nullopt;
}

std::optional<ip::address> parseAddress(const std::string& text) {
    boost::system::error_code error;
    const ip::address address = ip::make_address(text, error);
    return error ? std::nullopt : std::optional(address);
}

bool isPlainName(std::string_view text) {
    return !text.empty() && text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-._") ==
                                std::string_view::npos;
}

bool isInNetwork(const std::string& network, const ip::address& address) {
    boost::system::error_code error;
    if (address.is_v4()) {
        const auto net = ip::make_network_v4(network, error);
        return !error &&
               ip::network_v4(address.to_v4(), net.prefix_length()).canonical() == net.canonical();
    }
    const auto net = ip::make_network_v6(network, error);
    return !error &&
           ip::network_v6(address.to_v6(), net.prefix_length()).canonical() == net.canonical();
}

bool isInDomain(std::string_view domain, const std::string& host) {
    if (domain.substr(0, 2) == "*.") {
        domain.remove_prefix(1);
    }
    if (!domain.empty() && domain.front() == '.') {
        domain.remove_prefix(1);
    }
    if (domain.empty() || !boost::algorithm::ends_with(host, domain)) {
        return false;
    }
    return host.size() == domain.size() || host[host.size() - domain.size() - 1] == '.';
}

bool matches(const std::string& entry, const Endpoint& target) {
    if (entry == "*") {
        return true;
    }
    const auto pattern = parseEndpoint(entry);
    if (!pattern || (pattern->port != 0 && pattern->port != target.port)) {
        return false;
    }
    // An address has no domain: `.1` must not match all that ends in it.
    if (const auto address = parseAddress(target.host)) {
        return parseAddress(pattern->host) == address || isInNetwork(pattern->host, *address);
    }
    return isInDomain(pattern->host, target.host);
}

[[noreturn]] void refuseMalformed(const std::string& name) {
    throw ProxySettingsError(name +
                             " is no proxy address: expected http://[user:password@]host[:port]");
}

/// The part of a proxy's `text` that names its host and its credentials.
std::string_view authorityOf(const std::string& name, std::string_view text) {
    if (const auto mark = text.find("://"); mark != std::string_view::npos) {
        const std::string scheme = boost::algorithm::to_lower_copy(
            std::string(text.substr(0, mark)), std::locale::classic());
        // The check keeps a piece of a password with "://" in it out of the message.
        if (!isPlainName(scheme)) {
            refuseMalformed(name);
        }
        if (scheme != "http") {
            throw ProxySettingsError(name + " names a proxy of the scheme " + scheme +
                                     ", which is not supported: only http is");
        }
        text.remove_prefix(mark + 3);
    }
    if (!text.empty() && text.back() == '/') {
        text.remove_suffix(1);
    }
    if (text.find_first_of(" /?#") != std::string_view::npos) {
        refuseMalformed(name);
    }
    return text;
}

}  // namespace

ProxySettings::ProxySettings(const Lookup& environment) {
    const auto first = [&](std::initializer_list<const char*> names) {
        for (const char* const name : names) {
            auto text = boost::algorithm::trim_copy(environment(name).value_or(""));
            if (!text.empty()) {
                return Variable{name, std::move(text)};
            }
        }
        return Variable{};
    };
    m_http =
        environment("REQUEST_METHOD") ? first({"http_proxy"}) : first({"http_proxy", "HTTP_PROXY"});
    m_https = first({"https_proxy", "HTTPS_PROXY"});
    m_all = first({"all_proxy", "ALL_PROXY"});
    boost::algorithm::split(m_direct, first({"no_proxy", "NO_PROXY"}).text,
                            [](char c) { return c == ',' || c == ' ' || c == '\t'; });
}

ProxySettings ProxySettings::fromEnvironment() {
    return ProxySettings([](const std::string& name) -> std::optional<std::string> {
        const char* const text = std::getenv(name.c_str());
        return text == nullptr ? std::nullopt : std::optional<std::string>(text);
    });
}

std::optional<Proxy> ProxySettings::proxyFor(const web::uri& target) const {
    const Variable& own = isHttps(target) ? m_https : m_http;
    const Variable& variable = own.text.empty() ? m_all : own;
    if (variable.text.empty() || isDirect(target)) {
        return std::nullopt;
    }
    return parse(variable);
}

bool ProxySettings::isDirect(const web::uri& target) const {
    const int schemePort = isHttps(target) ? httpsPort : httpPort;
    const Endpoint endpoint{canonicalHost(to_utf8string(target.host())),
                            target.port() > 0 ? target.port() : schemePort};
    return std::any_of(m_direct.begin(), m_direct.end(),
                       [&](const std::string& entry) { return matches(entry, endpoint); });
}

Proxy ProxySettings::parse(const Variable& variable) {
    const std::string_view authority = authorityOf(variable.name, variable.text);
    const auto at = authority.rfind('@');
    const auto endpoint =
        parseEndpoint(at == std::string_view::npos ? authority : authority.substr(at + 1));
    const auto address = endpoint ? parseAddress(endpoint->host) : std::nullopt;
    const bool v6 = address && address->is_v6();
    if (!endpoint || !(v6 || isPlainName(endpoint->host))) {
        refuseMalformed(variable.name);
    }
    try {
        Proxy proxy;
        if (at != std::string_view::npos) {
            const std::string userInfo(authority.substr(0, at));
            const auto colon = std::min(userInfo.find(':'), userInfo.size());
            proxy.user = decoded(userInfo.substr(0, colon));
            proxy.password =
                decoded(colon == userInfo.size() ? std::string() : userInfo.substr(colon + 1));
        }
        proxy.address = web::uri_builder()
                            .set_scheme(to_string_t("http"))
                            .set_host(to_string_t(v6 ? "[" + endpoint->host + "]" : endpoint->host))
                            .set_port(endpoint->port != 0 ? endpoint->port : httpPort)
                            .to_uri();
        return proxy;
    } catch (const web::uri_exception&) {
        refuseMalformed(variable.name);
    }
}

}  // namespace standalone
