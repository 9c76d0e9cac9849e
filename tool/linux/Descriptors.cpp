#include "tool/Descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <initializer_list>
#include <system_error>

namespace tool {

namespace {

std::array<bool, 3> wasClosed{};  // by standard stream

struct Ignored {
    int number;
    void (*before)(int);
};
std::array<Ignored, 2> ignored{{{SIGPIPE, SIG_DFL}, {SIGXFSZ, SIG_DFL}}};

}  // namespace

bool reserveStandardStreams() {
    // In this order: a newly opened file gets the lowest free number.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const int wrongWay = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::fcntl(stream, F_GETFD) >= 0) {
            continue;
        }
        if (::open("/dev/null", wrongWay) != stream) {
            return false;
        }
        wasClosed.at(static_cast<std::size_t>(stream)) = true;
    }
    return true;
}

void surviveFailedWrites() {
    for (Ignored& signal : ignored) {
        signal.before = std::signal(signal.number, SIG_IGN);
    }
}

void restoreInherited() {
    for (const Ignored& signal : ignored) {
        (void)std::signal(signal.number, signal.before);
    }
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (wasClosed.at(static_cast<std::size_t>(stream))) {
            ::close(stream);
        }
    }
}

void requireDescriptors() {
    // A sign-in uses about twenty: the HTTP library's own, listeners, connections, store and lock.
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

}  // namespace tool
