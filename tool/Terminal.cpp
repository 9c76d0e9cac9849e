#include "tool/Terminal.h"

#include "tool/Environment.h"

#if defined(_WIN32)
#include <io.h>
#else
#include <pwd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <vector>
#endif

#include <string>

namespace tool {

namespace {

constexpr int standardOutput = 1;
constexpr int standardError = 2;

#if defined(_WIN32)
bool isTerminal(int descriptor) {
    return _isatty(descriptor) != 0;
}

std::size_t outputWidth() {
    return 0;
}
#else
bool isTerminal(int descriptor) {
    return isatty(descriptor) != 0;
}

/// Nothing for what is no terminal, or does not tell.
std::size_t outputWidth() {
    winsize size{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system has no other way to ask
    return ioctl(standardOutput, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}
#endif

}  // namespace

bool isErrorTerminal() {
    return isTerminal(standardError);
}

OutputForm outputForm() {
    constexpr std::size_t usualWidth = 100;
    const std::size_t width = outputWidth();
    const std::string terminal = variable("TERM");
    const bool understandsColours =
        isTerminal(standardOutput) && !terminal.empty() && terminal != "dumb";
    return {width > 0 ? width : usualWidth, understandsColours && variable("NO_COLOR").empty()};
}

std::string userName() {
#if defined(_WIN32)
    return variable("USERNAME");
#else
    constexpr std::size_t roomForEntry = 16384;
    std::vector<char> room(roomForEntry);
    passwd entry{};
    passwd* found = nullptr;
    getpwuid_r(geteuid(), &entry, room.data(), room.size(), &found);
    return found == nullptr ? "" : found->pw_name;
#endif
}

}  // namespace tool
