#include "tool/Terminal.h"

#include "tool/Environment.h"

namespace tool {

OutputForm outputForm() {
    constexpr std::size_t usualWidth = 100;
    const OutputTerminal terminal = outputTerminal();
    const bool isColoured = terminal.takesColours && variable("TERM") != "dumb";
    return {terminal.width > 0 ? terminal.width : usualWidth,
            isColoured && variable("NO_COLOR").empty()};
}

}  // namespace tool
