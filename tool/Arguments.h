#pragma once

#include <string>
#include <vector>

namespace tool {

/// The arguments of this process as UTF-8, of those that main() gets.
std::vector<std::string> argumentsOf(int argc, char** argv);

}  // namespace tool
