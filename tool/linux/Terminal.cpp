#include "tool/Terminal.h"

#include "tool/Environment.h"

#include <pwd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace tool {

namespace {

std::size_t outputWidth() {
    winsize size{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system has no other way to ask
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace

bool isErrorTerminal() {
    return ::isatty(STDERR_FILENO) != 0;
}

OutputTerminal outputTerminal() {
    return {outputWidth(), ::isatty(STDOUT_FILENO) != 0 && !variable("TERM").empty()};
}

std::string userName() {
    constexpr std::size_t roomForEntry = 16384;
    std::vector<char> room(roomForEntry);
    passwd entry{};
    passwd* found = nullptr;
    ::getpwuid_r(::geteuid(), &entry, room.data(), room.size(), &found);
    return found == nullptr ? "" : found->pw_name;
}

}  // namespace tool
