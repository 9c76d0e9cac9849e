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

/// All files are opened here: `path` is not followed if it is a link, the descriptor is not passed
/// on to other programs, and the call does not wait for the other end of a pipe. A created file is
/// open to nobody else. On failure returns nothing and sets errno.
Descriptor openAt(int folder, const std::filesystem::path& path, int flags);

void synchronize(const Descriptor& descriptor, const std::filesystem::path& path);

}  // namespace standalone::detail
