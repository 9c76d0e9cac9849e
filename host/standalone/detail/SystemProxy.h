#pragma once

#include "host/standalone/ProxyList.h"

#include <optional>
#include <string>

namespace standalone::detail {

/// A proxy variable of this process, in UTF-8. On Windows, where variable names are not
/// case-sensitive, `http_proxy` is ignored while REQUEST_METHOD is set: a web server may have made
/// it from a header.
std::optional<std::string> proxyVariable(const std::string& name);

/// The system's own proxy settings for `target`, of the user or of the machine. Empty if nothing is
/// set, or if the system only uses variables. May run a script from the network.
std::optional<ProxyList> systemProxies(const web::uri& target);

/// A proxy's address in the form that this system's HTTP client expects.
web::uri proxyAddress(const web::uri& address);

}  // namespace standalone::detail
