#pragma once

#include <string>

namespace tool {

/// Reports a new state to the service manager that started this process, if it wants to know: in
/// datagrams of systemd's protocol, such as "READY=1". Does nothing if there is none; if it does
/// not listen, that is not an error.
void tellServiceManager(const std::string& state);

}  // namespace tool
