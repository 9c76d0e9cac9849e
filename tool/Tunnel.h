#pragma once

#include <optional>
#include <string>

namespace tool {

/// Whether this is an ssh session, so that the user's browser is on another machine.
bool isReachedBySsh();

/// The command to run on the machine with the browser, so that the browser can get from this
/// authorization URL to the redirect URL. Empty if the redirect URL is not a loopback address.
std::optional<std::string> tunnelCommand(const std::string& authorizationUrl);

}  // namespace tool
