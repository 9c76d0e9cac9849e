#pragma once

#include <optional>
#include <string>

namespace tool {

/// The value of a variable of the environment, which nothing changes while there are threads.
std::optional<std::string> readVariable(const std::string& name);

/// The same; empty where it is not set.
std::string variable(const std::string& name);

}  // namespace tool
