#pragma once

#include "host/Export.h"
#include "host/HttpTypes.h"

#include <cpprest/uri.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace standalone {

/// A proxy variable that cannot be used. The text names the variable and never its value, which may
/// hold a password.
class OIDCAUTH_HOST_API ProxySettingsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Proxy {
    web::uri address;  ///< scheme, host and port
    std::string user;  ///< empty when the proxy asks for no credentials
    std::string password;
};

/// The proxy variables of an environment, as they were when this object was made. A value; its
/// constant members may be called from several threads.
///
/// `http_proxy` and `https_proxy` serve targets of their scheme, `all_proxy` those whose variable
/// is unset; `no_proxy` lists the targets that are reached directly. The names may be in upper
/// case, where lower case wins; empty counts as unset. `HTTP_PROXY` in upper case is ignored while
/// `REQUEST_METHOD` is set, because a web server then makes it from a header of the request. On
/// Windows names have no case, and in that case both are ignored.
///
/// A proxy is `[http://][user:password@]host[:port]` with percent-encoding in user and password;
/// the port is 80 unless given. Other schemes are refused: the HTTP client talks to proxies in the
/// clear only, and must not send what was meant for TLS that way.
///
/// `no_proxy` is a list with commas or spaces: `*` for all, a domain (with or without a leading `.`
/// or `*.`) for itself and all below it, or an address or network (`10.0.0.0/8`, `fd00::/8`); a
/// name or address may end in `:port`, IPv6 addresses then in brackets. What is none of these
/// matches nothing.
class OIDCAUTH_HOST_API ProxySettings {
public:
    /// Gives the value of a variable, or nothing when it is unset.
    using Lookup = std::function<std::optional<std::string>(const std::string& name)>;

    explicit ProxySettings(const Lookup& environment);

    /// On Linux no other thread may change the environment meanwhile.
    static ProxySettings fromEnvironment();

    /// Whether a variable says how `target` is reached: through a proxy, or directly.
    bool decides(const web::uri& target) const;

    /// The proxy for requests to `target`, or nothing when it is reached directly. Throws
    /// ProxySettingsError when the variable that decides cannot be used; a bad variable that does
    /// not matter for `target` does no harm.
    std::optional<Proxy> proxyFor(const web::uri& target) const;

private:
    struct Variable {
        std::string name;
        std::string text;  ///< empty when unset
    };

    const Variable& variableFor(const web::uri& target) const;
    bool isDirect(const web::uri& target) const;

    Variable m_http;
    Variable m_https;
    Variable m_all;
    std::vector<std::string> m_direct;
};

}  // namespace standalone
