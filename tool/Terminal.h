#pragma once

#include <cstddef>
#include <string>

namespace tool {

/// Whether standard error is a terminal that a person may be reading.
bool isErrorTerminal();

/// The best format for standard output.
struct OutputForm {
    std::size_t width;  ///< the line length in characters
    bool isColoured;    ///< false if NO_COLOR is set and not empty
};

OutputForm outputForm();

/// The abilities of standard output itself.
struct OutputTerminal {
    std::size_t width;  ///< 0 if it is not a terminal, or the width is unknown
    bool takesColours;
};

OutputTerminal outputTerminal();

/// The name of the user who runs the process; empty if the system has none.
std::string userName();

}  // namespace tool
