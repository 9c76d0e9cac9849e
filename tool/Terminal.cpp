#include "tool/Terminal.h"

#include <initializer_list>

#if defined(_WIN32)
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
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

bool reserveStandardStreams() {
#if !defined(_WIN32)
    // In this order: what is opened gets the lowest number that is free.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const int wrongWay = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", wrongWay) != stream) {
            return false;
        }
    }
#endif
    return true;
}

}  // namespace tool
