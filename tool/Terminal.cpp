#include "tool/Terminal.h"

#if defined(_WIN32)
#include <io.h>

#include <cstdlib>
#else
#include <pwd.h>
#include <unistd.h>

#include <vector>
#endif

namespace tool {

bool isErrorTerminal() {
    constexpr int standardError = 2;
#if defined(_WIN32)
    return _isatty(standardError) != 0;
#else
    return isatty(standardError) != 0;
#endif
}

std::string userName() {
#if defined(_WIN32)
    const char* const name = std::getenv("USERNAME");
    return name == nullptr ? "" : name;
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
