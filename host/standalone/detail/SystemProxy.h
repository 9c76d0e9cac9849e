#pragma once

#include "host/standalone/ProxyList.h"

#include <optional>
#include <string>

namespace standalone::detail {

/// A proxy variable of this process, in UTF-8. On Windows, where names have no case, `http_proxy`
/// is ignored while REQUEST_METHOD is set: a web server may have made it from a header.
std::optional<std::string> proxyVariable(const std::string& name);

/// What the system itself has been told about proxies for `target`, by its user or for the machine.
/// None where nothing is set, or where programs have their variables only. May ask a script that
/// comes from the network.
std::optional<ProxyList> systemProxies(const web::uri& target);

/// A proxy's address in the form that the HTTP client of this system takes.
web::uri proxyAddress(const web::uri& address);

}  // namespace standalone::detail
