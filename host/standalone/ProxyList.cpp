#include "host/standalone/ProxyList.h"

#include "host/standalone/detail/ProxyText.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>

#include <algorithm>
#include <locale>
#include <string_view>
#include <vector>

namespace standalone {

using namespace detail;

namespace {

using boost::algorithm::to_lower_copy;

std::vector<std::string> entriesOf(const std::string& list) {
    std::vector<std::string> entries;
    boost::algorithm::split(entries, list, [](char c) {
        return c == ';' || c == ' ' || c == '\t' || c == '\r' || c == '\n';
    });
    entries.erase(std::remove(entries.begin(), entries.end(), std::string()), entries.end());
    return entries;
}

/// Whether the whole text matches the pattern, in which `*` stands for any characters.
bool isLike(std::string_view text, std::string_view pattern) {
    std::size_t at = 0;
    std::size_t in = 0;
    std::size_t star = std::string_view::npos;  // the last one that was found
    std::size_t covered = 0;                    // how far it extends so far
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == '*') {
            star = in++;
            covered = at;
        } else if (in < pattern.size() && pattern[in] == text[at]) {
            ++in;
            ++at;
        } else if (star != std::string_view::npos) {
            in = star + 1;
            at = ++covered;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in) == std::string_view::npos;
}

bool isBypassedBy(std::string_view entry, const std::string& scheme, const Endpoint& target) {
    if (entry == "<local>") {
        return target.host.find('.') == std::string::npos && !parseAddress(target.host);
    }
    if (const auto mark = entry.find("://"); mark != std::string_view::npos) {
        if (entry.substr(0, mark) != scheme) {
            return false;
        }
        entry.remove_prefix(mark + 3);
    }
    const auto pattern = parseEndpoint(entry);
    return pattern && (pattern->port == 0 || pattern->port == target.port) &&
           isLike(target.host, pattern->host);
}

bool isBypassed(const std::vector<std::string>& bypass, const web::uri& target) {
    const Endpoint endpoint = endpointOf(target);
    const std::string scheme = schemeOf(target);
    const bool ownMachineToo =
        std::find(bypass.begin(), bypass.end(), "<-loopback>") != bypass.end();
    return (isLoopback(endpoint.host) && !ownMachineToo) ||
           std::any_of(bypass.begin(), bypass.end(), [&](const std::string& entry) {
               return isBypassedBy(entry, scheme, endpoint);
           });
}

}  // namespace

std::optional<Proxy> ProxyList::proxyFor(const web::uri& target) const {
    const std::string own = schemeOf(target) + "=";
    const std::string* chosen = nullptr;
    const auto entries = entriesOf(proxies);
    for (const std::string& entry : entries) {
        if (boost::algorithm::istarts_with(entry, own, std::locale::classic())) {
            chosen = &entry;
            break;
        }
        // A password may contain such a sign as well.
        if (chosen == nullptr && entry.find('=') >= entry.find_first_of(":/@")) {
            chosen = &entry;
        }
    }
    if (chosen == nullptr ||
        isBypassed(entriesOf(to_lower_copy(bypass, std::locale::classic())), target)) {
        return std::nullopt;
    }
    const bool isOwn = boost::algorithm::istarts_with(*chosen, own, std::locale::classic());
    return parseProxy("the system's proxy setting",
                      std::string_view(*chosen).substr(isOwn ? own.size() : 0));
}

}  // namespace standalone
