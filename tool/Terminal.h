#pragma once

#include <cstddef>
#include <string>

namespace tool {

/// Whether a person may be reading standard error.
bool isErrorTerminal();

/// How standard output is best written to.
struct OutputForm {
    std::size_t width;  ///< of a line, in characters
    bool isColoured;    ///< never against NO_COLOR (of any value but the empty one)
};

OutputForm outputForm();

/// What standard output itself can take.
struct OutputTerminal {
    std::size_t width;  ///< none for what is no terminal, or does not tell
    bool takesColours;
};

OutputTerminal outputTerminal();

/// That of the person by whom the process runs; empty where the system knows none.
std::string userName();

}  // namespace tool
