#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

/// Breaks a text into lines of this width; a longer word gets its own line.
std::vector<std::string> filled(const std::string& text, std::size_t width);

}  // namespace tool
