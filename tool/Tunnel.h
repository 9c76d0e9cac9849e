#pragma once

#include <optional>
#include <string>

namespace tool {

/// Whether this machine was reached through ssh, so that the user's own browser is elsewhere.
bool isReachedBySsh();

/// What has to run on the machine with the browser so that the browser, sent to this authorization
/// URL, gets from there to the redirect URL. None where the redirect URL is no loopback address.
std::optional<std::string> tunnelCommand(const std::string& authorizationUrl);

}  // namespace tool
