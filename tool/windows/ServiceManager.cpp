#include "tool/ServiceManager.h"

namespace tool {

/// None here asks by this protocol.
void tellServiceManager(const std::string& /*state*/) {}

}  // namespace tool
