#include "host/standalone/detail/ProxyText.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <charconv>
#include <locale>

namespace standalone::detail {
namespace {

namespace ip = boost::asio::ip;

constexpr int httpPort = 80;
constexpr int httpsPort = 443;

using utility::conversions::to_string_t;
using utility::conversions::to_utf8string;

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

bool isPlainName(std::string_view text) {
    return !text.empty() && text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-._") ==
                                std::string_view::npos;
}

[[noreturn]] void refuseMalformed(const std::string& name) {
    throw ProxySettingsError(
        name + " is not a proxy address: expected http://[user:password@]host[:port]");
}

/// The part of a proxy's `text` that has its host and credentials.
std::string_view authorityOf(const std::string& name, std::string_view text) {
    if (const auto mark = text.find("://"); mark != std::string_view::npos) {
        const std::string scheme = boost::algorithm::to_lower_copy(
            std::string(text.substr(0, mark)), std::locale::classic());
        // This check keeps a part of a password that contains "://" out of the message.
        if (!isPlainName(scheme)) {
            refuseMalformed(name);
        }
        if (scheme != "http") {
            throw ProxySettingsError(name + " names a proxy with the scheme " + scheme +
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

std::string schemeOf(const web::uri& target) {
    return to_utf8string(target.scheme());
}

Endpoint endpointOf(const web::uri& target) {
    const int schemePort = schemeOf(target) == "https" ? httpsPort : httpPort;
    return {canonicalHost(to_utf8string(target.host())),
            target.port() > 0 ? target.port() : schemePort};
}

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

bool isLoopback(const std::string& host) {
    const auto address = parseAddress(host);
    return address ? address->is_loopback()
                   : host == "localhost" || boost::algorithm::ends_with(host, ".localhost");
}

Proxy parseProxy(const std::string& name, std::string_view text) {
    const std::string_view authority = authorityOf(name, text);
    const auto at = authority.rfind('@');
    const auto endpoint =
        parseEndpoint(at == std::string_view::npos ? authority : authority.substr(at + 1));
    const auto address = endpoint ? parseAddress(endpoint->host) : std::nullopt;
    const bool v6 = address && address->is_v6();
    if (!endpoint || !(v6 || isPlainName(endpoint->host))) {
        refuseMalformed(name);
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
        refuseMalformed(name);
    }
}

}  // namespace standalone::detail
