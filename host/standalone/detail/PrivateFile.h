#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string_view>

namespace standalone::detail {

/// Throw TokenStoreError.
[[noreturn]] void refuse(const std::filesystem::path& path, std::string_view why);
[[noreturn]] void failSystem(const std::filesystem::path& path, std::string_view what,
                             int error = errno);

template <class Call>
auto uninterrupted(const Call& call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) {
            return result;
        }
    }
}

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    explicit operator bool() const noexcept { return m_descriptor >= 0; }
    int get() const noexcept { return m_descriptor; }

private:
    int m_descriptor = -1;
};

/// All opening goes through here: never through a link in the last place of `path`, never into
/// programs that are started, never waiting for the other end of a pipe. What it makes is open to
/// nobody else. None, and errno, when that fails.
Descriptor openAt(int folder, const std::filesystem::path& path, int flags);

/// A relative path is taken from the current folder of now.
std::filesystem::path absoluteFile(const std::filesystem::path& file);

/// None when there is no such folder. One that is a link, another user's or open to others is
/// refused, as are files below.
Descriptor openFolder(const std::filesystem::path& folder);

/// Makes the folder, and those above it, if it is missing.
Descriptor openOrMakeFolder(const std::filesystem::path& folder);

struct PrivateFile {
    Descriptor descriptor;    // none when there is no such file and none was to be made
    struct stat status = {};  // when it was opened

    std::size_t size() const { return static_cast<std::size_t>(status.st_size); }
};

/// Opens the regular file `file`, which lies in `folder`.
PrivateFile openFile(const Descriptor& folder, const std::filesystem::path& file, int flags);

}  // namespace standalone::detail
