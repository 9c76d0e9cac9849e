#include "tool/Environment.h"

#include <cstdlib>

namespace tool {

std::optional<std::string> readVariable(const std::string& name) {
    const char* const value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
    return value == nullptr ? std::nullopt : std::make_optional<std::string>(value);
}

}  // namespace tool
