#pragma once

#include <string>

namespace tool {

/// Tells whoever has started this process as a service, and asks to be told, of a new state: by the
/// datagrams of systemd's protocol, such as "READY=1". Does nothing where nobody asks; that nobody
/// listens is no failure.
void tellServiceManager(const std::string& state);

}  // namespace tool
