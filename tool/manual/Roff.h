#pragma once

#include <string>

namespace manual {

// Text for the macros of man(7). Lines stay short, and each sentence begins a new line: the linters
// require that.

/// Text to be typed, on its own line or within one.
std::string code(const std::string& text);
std::string bold(const std::string& text);
std::string italic(const std::string& text);

/// Lines of running text with option names in bold.
std::string prose(const std::string& text);

/// Indented lines, unchanged.
std::string example(const std::string& lines);

}  // namespace manual
