#pragma once

#include <string>
#include <string_view>

namespace tool {

// Converts between the text of this program, which is UTF-8, and the system's. Invalid Unicode
// becomes U+FFFD.

std::string utf8(std::wstring_view text);
std::wstring wide(std::string_view text);

}  // namespace tool
