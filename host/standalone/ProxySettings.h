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

/// A proxy setting cannot be used. The text names the variable or setting, and never its value,
/// which may contain a password.
///
/// \ingroup proxies
class OIDCAUTH_HOST_API ProxySettingsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An HTTP proxy.
///
/// \ingroup proxies
struct Proxy {
    web::uri address;      ///< scheme, host and port
    std::string user;      ///< percent-decoded; empty if the proxy needs no credentials
    std::string password;  ///< percent-decoded, in UTF-8, as `user`
};

/// The proxy variables of an environment, as they were when this object was made. A value. Several
/// threads may call its const members.
///
/// **Variables.** `http_proxy` and `https_proxy` are for targets of their scheme. `all_proxy` is
/// for targets whose variable is unset. `no_proxy` lists the targets that are reached directly. An
/// empty variable counts as unset. Names may be in upper case; lower case takes precedence.
/// `HTTP_PROXY` in upper case is ignored while `REQUEST_METHOD` is set, because a web server then
/// makes it from a header of the request. On Windows, where names have no case, `http_proxy` is
/// ignored then as well.
///
/// **Proxies.** A proxy is `[http://][user:password@]host[:port]`, with percent-encoding in user
/// and password. The default port is 80. Other schemes are refused: the HTTP client connects to
/// proxies without TLS only, and would send in the clear what was meant for TLS.
///
/// **Direct targets.** `no_proxy` is a list, separated by commas or spaces. An entry is
/// - `*` for all targets;
/// - a domain, with or without a leading `.` or `*.`, for itself and all names below it;
/// - an address or a network (`10.0.0.0/8`, `fd00::/8`).
///
/// A name or address may end in `:port`; an IPv6 address is then in brackets. Any other entry
/// matches nothing.
///
/// \ingroup proxies
class OIDCAUTH_HOST_API ProxySettings {
public:
    /// Returns the value of a variable, or none if it is unset.
    using Lookup = std::function<std::optional<std::string>(const std::string& name)>;

    /// Reads the variables through `environment`, which is not kept. Its exceptions pass through.
    explicit ProxySettings(const Lookup& environment);

    /// Reads the environment of this process. On Linux, no other thread may change it meanwhile.
    static ProxySettings fromEnvironment();

    /// Whether a variable decides how `target` is reached: through a proxy, or directly.
    bool decides(const web::uri& target) const;

    /// The proxy for requests to `target`, or none if it is reached directly. Throws
    /// ProxySettingsError if the variable that decides cannot be used. Invalid variables that do
    /// not concern `target` are ignored.
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
