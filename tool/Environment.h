#pragma once

#include <optional>
#include <string>

namespace tool {

/// The value of an environment variable. Nothing changes the environment while there are threads.
std::optional<std::string> readVariable(const std::string& name);

/// The same; empty if the variable is not set.
std::string variable(const std::string& name);

}  // namespace tool
