#include "host/standalone/detail/SystemProxy.h"

#include "host/standalone/detail/ProxyText.h"
#include "host/standalone/windows/Variable.h"

#include <boost/locale/encoding_utf.hpp>
#include <windows.h>
#include <winhttp.h>

#include <atomic>
#include <chrono>
#include <memory>

namespace standalone::detail {

namespace {

using Clock = std::chrono::steady_clock;

std::string utf8(const wchar_t* text) {
    return text == nullptr ? std::string() : boost::locale::conv::utf_to_utf<char>(text);
}

std::optional<std::string> variable(const std::string& name) {
    const auto value = wideVariable(boost::locale::conv::utf_to_utf<wchar_t>(name));
    return value ? std::make_optional(utf8(value->c_str())) : std::nullopt;
}

/// For memory that the system allocates and the caller frees.
struct GlobalRelease {
    void operator()(wchar_t* text) const { ::GlobalFree(text); }
};
using SystemText = std::unique_ptr<wchar_t, GlobalRelease>;

struct SessionRelease {
    using pointer = HINTERNET;
    void operator()(HINTERNET session) const { ::WinHttpCloseHandle(session); }
};

ProxyList taken(WINHTTP_PROXY_INFO& info) {
    const SystemText proxies(info.lpszProxy);
    const SystemText bypass(info.lpszProxyBypass);
    const bool isNamed = info.dwAccessType == WINHTTP_ACCESS_TYPE_NAMED_PROXY;
    return isNamed ? ProxyList{utf8(proxies.get()), utf8(bypass.get())} : ProxyList{};
}

/// The user's settings, which most programs follow.
class UserSettings {
public:
    UserSettings() {
        WINHTTP_CURRENT_USER_IE_PROXY_CONFIG found{};
        if (::WinHttpGetIEProxyConfigForCurrentUser(&found) != 0) {
            m_detects = found.fAutoDetect != 0;
            m_script.reset(found.lpszAutoConfigUrl);
            m_proxies.reset(found.lpszProxy);
            m_bypass.reset(found.lpszProxyBypass);
        }
    }

    /// The script gets the URL without user, path and query: neither it nor its author needs them.
    std::optional<ProxyList> askScript(const web::uri& target) const {
        if (!detectsNow() && !m_script) {
            return std::nullopt;
        }
        const std::unique_ptr<HINTERNET, SessionRelease> session(
            ::WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                          WINHTTP_NO_PROXY_BYPASS, 0));
        const auto url = web::uri_builder()
                             .set_scheme(target.scheme())
                             .set_host(target.host())
                             .set_port(target.port())
                             .set_path(L"/")
                             .to_string();
        WINHTTP_AUTOPROXY_OPTIONS options = question();
        WINHTTP_PROXY_INFO info{};
        BOOL answered = ::WinHttpGetProxyForUrl(session.get(), url.c_str(), &options, &info);
        if (answered == 0 && ::GetLastError() == ERROR_WINHTTP_LOGIN_FAILURE) {
            options.fAutoLogonIfChallenged = TRUE;
            answered = ::WinHttpGetProxyForUrl(session.get(), url.c_str(), &options, &info);
        }
        if (answered != 0) {
            return taken(info);
        }
        if ((options.dwFlags & WINHTTP_AUTOPROXY_AUTO_DETECT) != 0) {
            lastFailure = Clock::now().time_since_epoch();
        }
        return std::nullopt;
    }

    std::optional<ProxyList> named() const {
        return m_proxies ? std::optional(ProxyList{utf8(m_proxies.get()), utf8(m_bypass.get())})
                         : std::nullopt;
    }

private:
    /// Most networks have no script to detect, and finding that out takes seconds.
    bool detectsNow() const {
        constexpr std::chrono::minutes pause{2};
        const Clock::duration last = lastFailure;
        return m_detects &&
               (last == Clock::duration::zero() || Clock::now().time_since_epoch() - last > pause);
    }

    WINHTTP_AUTOPROXY_OPTIONS question() const {
        WINHTTP_AUTOPROXY_OPTIONS options{};
        if (detectsNow()) {
            options.dwFlags |= WINHTTP_AUTOPROXY_AUTO_DETECT;
            options.dwAutoDetectFlags =
                WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
        }
        if (m_script) {
            options.dwFlags |= WINHTTP_AUTOPROXY_CONFIG_URL;
            options.lpszAutoConfigUrl = m_script.get();
        }
        return options;
    }

    static inline std::atomic<Clock::duration> lastFailure{Clock::duration::zero()};

    bool m_detects = false;
    SystemText m_script;
    SystemText m_proxies;
    SystemText m_bypass;
};

std::optional<ProxyList> ofMachine() {
    WINHTTP_PROXY_INFO info{};
    return ::WinHttpGetDefaultProxyConfiguration(&info) != 0 ? std::optional(taken(info))
                                                             : std::nullopt;
}

}  // namespace

std::optional<std::string> proxyVariable(const std::string& name) {
    if (name == "http_proxy" && variable("REQUEST_METHOD")) {
        return std::nullopt;
    }
    return variable(name);
}

std::optional<ProxyList> systemProxies(const web::uri& target) {
    const UserSettings user;
    // For this machine itself no script is asked; lists still apply.
    const auto answer = isLoopback(endpointOf(target).host) ? std::nullopt : user.askScript(target);
    for (const auto& found : {answer, user.named()}) {
        if (found) {
            return found;
        }
    }
    return ofMachine();
}

web::uri proxyAddress(const web::uri& address) {
    return address;
}

}  // namespace standalone::detail
