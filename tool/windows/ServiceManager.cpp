#include "tool/ServiceManager.h"

namespace tool {

/// No service manager on Windows uses this protocol.
void tellServiceManager(const std::string& /*state*/) {}

}  // namespace tool
