#include "tool/Descriptors.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <initializer_list>
#include <system_error>
#endif

namespace tool {

#if defined(_WIN32)

bool reserveStandardStreams() {
    return true;
}

void surviveFailedWrites() {}

void requireDescriptors() {}

#else

bool reserveStandardStreams() {
    // In this order: what is opened gets the lowest number that is free.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const int wrongWay = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", wrongWay) != stream) {
            return false;
        }
    }
    return true;
}

void surviveFailedWrites() {
    for (const int number : {SIGPIPE, SIGXFSZ}) {
        (void)std::signal(number, SIG_IGN);
    }
}

void requireDescriptors() {
    // A sign-in has some twenty: the HTTP library's own, listeners, connections, store and lock.
    std::array<int, 32> copies{};
    const auto last = std::find_if(copies.begin(), copies.end(), [](int& copy) {
        copy = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
        return copy < 0;
    });
    const int error = errno;
    std::for_each(copies.begin(), last, ::close);
    if (last != copies.end()) {
        throw std::system_error(error, std::generic_category(),
                                "too few files can be opened; see ulimit -n");
    }
}

#endif

}  // namespace tool
