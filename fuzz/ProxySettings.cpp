#include "host/standalone/ProxySettings.h"

#include "fuzz/Documented.h"
#include "fuzz/Require.h"
#include "host/standalone/ProxyList.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <cpprest/base_uri.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// The input is a target's address, and then a line `name=value` for each variable; `proxies` and
// `bypass` are lists in the Windows format.

namespace {

using boost::algorithm::to_lower_copy;
using boost::algorithm::trim_copy;
using standalone::Proxy;
using standalone::ProxyList;
using standalone::ProxySettings;
using standalone::ProxySettingsError;
using Environment = std::map<std::string, std::string>;

ProxySettings settingsOf(const Environment& environment) {
    return ProxySettings([&](const std::string& name) {
        const auto found = environment.find(name);
        return found == environment.end() ? std::nullopt : std::optional(found->second);
    });
}

std::string valueOf(const Environment& environment, const std::string& name) {
    const auto found = environment.find(name);
    return found == environment.end() ? "" : trim_copy(found->second);
}

/// The variable that has the proxy for the target, if there is one.
std::string decidingVariable(const Environment& environment, const web::uri& target) {
    const std::vector<std::string> names =
        target.scheme() == "https"
            ? std::vector<std::string>{"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}
            : std::vector<std::string>{"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"};
    const auto found = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
        const bool forged = name == "HTTP_PROXY" && environment.count("REQUEST_METHOD") > 0;
        return !forged && !valueOf(environment, name).empty();
    });
    return found == names.end() ? "" : *found;
}

bool isDirect(const std::string& exceptions, const web::uri& target) {
    const auto settings = settingsOf({{"all_proxy", "proxy.test"}, {"no_proxy", exceptions}});
    return !settings.proxyFor(target);
}

/// A list has the same effect as its entries together, in upper or lower case. (Entries between
/// commas are not trimmed.)
void checkExceptions(const std::string& exceptions, const web::uri& target) {
    std::vector<std::string> entries;
    boost::algorithm::split(entries, exceptions, boost::algorithm::is_any_of(", \t"));
    const bool direct = isDirect(exceptions, target);
    fuzz::require(direct == std::any_of(entries.begin(), entries.end(), [&](const auto& each) {
                      return isDirect(',' + each + ',', target);
                  }));
    fuzz::require(direct == isDirect(boost::algorithm::to_upper_copy(exceptions), target));
}

/// A name is excepted with its subdomains, but not as the end of another name.
void checkName(const web::uri& target) {
    const std::string& host = target.host();
    const bool isName =
        host.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-.") == std::string::npos &&
        host.find_first_of("ghijklmnopqrstuvwxyz") != std::string::npos &&
        host.find("..") == std::string::npos && host.front() != '.' && host.back() != '.';
    if (!isName) {
        return;
    }
    for (const std::string& prefix : {"", ".", "*."}) {
        fuzz::require(isDirect(prefix + host, target));
        fuzz::require(isDirect(prefix + host, "http://below." + host));
        fuzz::require(!isDirect(prefix + host, "http://other-" + host));
        fuzz::require(!isDirect(prefix + host + ":1", "http://" + host));
    }
}

/// The resulting proxy leads to the same proxy when it is set again, and is contained in the
/// variable.
void checkProxy(const Proxy& proxy, const std::string& value) {
    const std::string& host = proxy.address.host();
    const int port = proxy.address.port();
    const std::string place = host + ':' + std::to_string(port);
    fuzz::require(proxy.address.to_string() == "http://" + place + '/');
    fuzz::require(!host.empty() && port > 0 && port <= 0xFFFF);

    // One dot is removed from the end of a name, each time.
    const std::string encoded = web::uri::encode_data_string(proxy.user) + ':' +
                                web::uri::encode_data_string(proxy.password) + '@' + host +
                                (host.back() == '.' ? ".:" : ":") + std::to_string(port);
    const auto again =
        settingsOf({{"all_proxy", encoded}}).proxyFor(web::uri("http://target.test"));
    fuzz::require(again && again->address.to_string() == proxy.address.to_string() &&
                  again->user == proxy.user && again->password == proxy.password);

    if (value.find('%') == std::string::npos) {
        const std::size_t scheme = value.find("://");
        const std::size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
        const std::size_t at =
            std::max(value.rfind('@') + 1, begin + 1) - 1;  // none: npos + 1 is 0
        const std::string credentials = value.substr(begin, at - begin);
        fuzz::require(proxy.user.find(':') == std::string::npos);
        fuzz::require(credentials == proxy.user + ':' + proxy.password ||
                      (proxy.password.empty() && credentials == proxy.user));
    }
}

/// The message contains nothing of the value but the scheme, which then cannot be a part of a
/// password.
void checkRefusal(const std::string& text, const std::string& name, const std::string& value) {
    const std::string scheme = to_lower_copy(value.substr(0, value.find("://")));
    const bool isWord = scheme.find_first_of(":@/ ") == std::string::npos;
    fuzz::require(
        text == name + " is not a proxy address: expected http://[user:password@]host[:port]" ||
        (isWord && text == name + " names a proxy with the scheme " + scheme +
                               ", which is not supported: only http is"));
}

/// A list has the same effect as its entries together, in upper or lower case; only `<-loopback>`
/// removes one.
void checkBypass(const std::string& bypass, const web::uri& target) {
    const auto isBypassed = [&](const std::string& list) {
        return !ProxyList{"proxy.test", list}.proxyFor(target);
    };
    std::vector<std::string> entries;
    boost::algorithm::split(entries, bypass, boost::algorithm::is_any_of("; \t\r\n"));
    const bool direct = isBypassed(bypass);
    fuzz::require(direct == isBypassed(boost::algorithm::to_upper_copy(bypass)));
    fuzz::require(isBypassed(bypass + ";*"));
    if (!isBypassed("")) {
        fuzz::require(direct == std::any_of(entries.begin(), entries.end(), isBypassed));
    }
}

/// A single proxy has the same effect as in a variable.
void checkList(const std::string& proxies, const web::uri& target) {
    const ProxyList list{proxies, "<-loopback>"};
    const std::string name = "the system's proxy setting";
    const bool isOne = !proxies.empty() && proxies.find_first_of("=; \t\r\n") == std::string::npos;
    std::optional<Proxy> proxy;
    try {
        proxy = list.proxyFor(target);
    } catch (const ProxySettingsError& error) {
        const std::string text = error.what();
        return isOne ? checkRefusal(text, name, proxies)
                     : fuzz::require(text.compare(0, name.size(), name) == 0);
    }
    fuzz::require(proxy || !isOne);
    if (proxy && isOne) {
        checkProxy(*proxy, proxies);
    }
}

void check(const Environment& environment, const web::uri& target) {
    const std::string lower = valueOf(environment, "no_proxy");
    const std::string exceptions = lower.empty() ? valueOf(environment, "NO_PROXY") : lower;
    const std::string name = decidingVariable(environment, target);
    const std::string value = valueOf(environment, name);
    checkExceptions(exceptions, target);
    checkName(target);
    checkBypass(valueOf(environment, "bypass"), target);
    checkList(valueOf(environment, "proxies"), target);

    std::optional<Proxy> proxy;
    try {
        proxy = settingsOf(environment).proxyFor(target);
    } catch (const ProxySettingsError& error) {
        return checkRefusal(error.what(), name, value);
    }
    fuzz::require(proxy.has_value() == (!name.empty() && !isDirect(exceptions, target)));
    if (proxy) {
        checkProxy(*proxy, value);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
    std::string line;
    std::getline(input, line);
    web::uri target;
    if (!fuzz::completes<web::uri_exception>([&] { target = web::uri(line); })) {
        return 0;
    }
    Environment environment;
    while (std::getline(input, line)) {
        const std::size_t name = line.find('=');
        if (name != std::string::npos) {
            environment[line.substr(0, name)] = line.c_str() + name + 1;  // no variable has a NUL
        }
    }
    check(environment, target);
    return 0;
}
