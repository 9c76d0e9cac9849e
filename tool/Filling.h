#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

/// The words of a text on lines of this width; a longer word has a line of its own.
std::vector<std::string> filled(const std::string& text, std::size_t width);

}  // namespace tool
