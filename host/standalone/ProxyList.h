#pragma once

#include "host/Export.h"
#include "host/HttpTypes.h"
#include "host/standalone/ProxySettings.h"

#include <cpprest/uri.h>

#include <optional>
#include <string>

namespace standalone {

/// Proxies in the form in which Windows keeps them for its user and for the machine. Lists have
/// semicolons or blanks between their entries.
///
/// `proxies` has one for all targets (`proxy:8080`), or one for each scheme
/// (`http=proxy:8080;https=other:8080`), where that of the scheme wins; of several the first
/// counts. Each is one as in a proxy variable. Those for other schemes, such as `socks`, serve
/// nobody here.
///
/// `bypass` has what is reached directly: names and addresses with `*` for any characters
/// (`*.example.com`, `10.*`), and `<local>` for all names without a dot. Unlike in `no_proxy`, a
/// name stands for itself only. An entry may begin with `http://` or `https://` and end in `:port`.
/// This machine (`localhost` and below, `127.0.0.0/8`, `::1`) is reached directly by itself, unless
/// the list has `<-loopback>`.
struct OIDCAUTH_HOST_API ProxyList {
    std::string proxies;
    std::string bypass;

    /// The proxy for requests to `target`, or nothing when it is reached directly. Throws
    /// ProxySettingsError when the entry that decides cannot be used.
    std::optional<Proxy> proxyFor(const web::uri& target) const;
};

}  // namespace standalone
