#pragma once

#include "host/standalone/detail/PrivateFile.h"

#include <cerrno>
#include <filesystem>

namespace standalone::detail {

template <class Call>
auto uninterrupted(const Call& call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) {
            return result;
        }
    }
}

inline int number(const Descriptor& descriptor) noexcept {
    return static_cast<int>(descriptor.get());
}

/// All opening goes through here: never through a link in the last place of `path`, never into
/// programs that are started, never waiting for the other end of a pipe. What it makes is open to
/// nobody else. None, and errno, when that fails.
Descriptor openAt(int folder, const std::filesystem::path& path, int flags);

void synchronize(const Descriptor& descriptor, const std::filesystem::path& path);

}  // namespace standalone::detail
