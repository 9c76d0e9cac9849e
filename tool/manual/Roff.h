#pragma once

#include <string>

namespace manual {

// Text for the macros of man(7). Lines stay short, and each sentence begins a line: that is what
// the linters ask for.

/// Text as it is typed, on a line of its own or within one.
std::string code(const std::string& text);
std::string bold(const std::string& text);
std::string italic(const std::string& text);

/// Lines of running text, in which names of options are bold.
std::string prose(const std::string& text);

/// Indented lines as they are.
std::string example(const std::string& lines);

}  // namespace manual
