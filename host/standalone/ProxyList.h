#pragma once

#include "host/Export.h"
#include "host/HttpTypes.h"
#include "host/standalone/ProxySettings.h"

#include <cpprest/uri.h>

#include <optional>
#include <string>

namespace standalone {

/// Proxies in the form in which Windows keeps them for its user and for the machine.
///
/// Both members are lists; semicolons or blanks separate the entries. This machine itself
/// (`localhost` and names below it, `127.0.0.0/8`, `::1`) is always reached directly, unless
/// `bypass` contains `<-loopback>`.
///
/// \ingroup proxies
struct OIDCAUTH_HOST_API ProxyList {
    /// One proxy for all targets, such as `proxy:8080`, or one per scheme, such as
    /// `http=proxy:8080;https=other:8080`.
    ///
    /// An entry for the scheme of the target takes precedence; among several, the first counts. A
    /// proxy has the form that ProxySettings describes. Entries for other schemes, such as `socks`,
    /// are not used.
    std::string proxies;
    /// Targets that are reached directly.
    ///
    /// Entries are names and addresses, in which `*` stands for any characters (`*.example.com`,
    /// `10.*`), and `<local>` for all names without a dot. An entry may begin with `http://` or
    /// `https://` and end in `:port`. Unlike in `no_proxy`, a name does not include the names below
    /// it.
    std::string bypass;

    /// The proxy for requests to `target`, or none if it is reached directly. Throws
    /// ProxySettingsError if the entry that decides cannot be used.
    std::optional<Proxy> proxyFor(const web::uri& target) const;
};

}  // namespace standalone
