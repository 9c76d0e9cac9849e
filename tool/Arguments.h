#pragma once

#include <string>
#include <vector>

namespace tool {

/// The arguments of this process in UTF-8, made from those of main().
std::vector<std::string> argumentsOf(int argc, char** argv);

}  // namespace tool
