#include "host/standalone/ProxySettings.h"

#include "host/standalone/detail/ProxyText.h"
#include "host/standalone/detail/SystemProxy.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace standalone {

using namespace detail;

namespace {

namespace ip = boost::asio::ip;

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
    // An address has no domain: `.1` must not match every address that ends in it.
    if (const auto address = parseAddress(target.host)) {
        return parseAddress(pattern->host) == address || isInNetwork(pattern->host, *address);
    }
    return isInDomain(pattern->host, target.host);
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
    return ProxySettings(&proxyVariable);
}

bool ProxySettings::decides(const web::uri& target) const {
    return !variableFor(target).text.empty() || isDirect(target);
}

std::optional<Proxy> ProxySettings::proxyFor(const web::uri& target) const {
    const Variable& variable = variableFor(target);
    if (variable.text.empty() || isDirect(target)) {
        return std::nullopt;
    }
    return parseProxy(variable.name, variable.text);
}

const ProxySettings::Variable& ProxySettings::variableFor(const web::uri& target) const {
    const Variable& own = schemeOf(target) == "https" ? m_https : m_http;
    return own.text.empty() ? m_all : own;
}

bool ProxySettings::isDirect(const web::uri& target) const {
    return std::any_of(m_direct.begin(), m_direct.end(),
                       [endpoint = endpointOf(target)](const std::string& entry) {
                           return matches(entry, endpoint);
                       });
}

}  // namespace standalone
