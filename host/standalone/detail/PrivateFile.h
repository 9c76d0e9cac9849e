#pragma once

#include "host/standalone/detail/SystemError.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace standalone::detail {

/// Throw TokenStoreError.
[[noreturn]] void refuse(const std::filesystem::path& path, std::string_view why);
[[noreturn]] void failSystem(const std::filesystem::path& path, std::string_view what,
                             int error = lastError());
[[noreturn]] void refuseOpenToOthers(const std::filesystem::path& path, std::string_view remedy);

/// A relative path is taken from the current folder of now.
std::filesystem::path absoluteFile(const std::filesystem::path& file);

/// What the system has opened: the number of a file, or a handle.
class Descriptor {
public:
    using Value = std::intptr_t;

    Descriptor() = default;
    explicit Descriptor(Value value) noexcept : m_value(value) {}
    Descriptor(Descriptor&& other) noexcept : m_value(std::exchange(other.m_value, none)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_value, other.m_value);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (*this) {
            close(m_value);
        }
    }

    explicit operator bool() const noexcept { return m_value != none; }
    Value get() const noexcept { return m_value; }

private:
    static constexpr Value none = -1;
    static void close(Value value) noexcept;

    Value m_value = none;
};

/// What a look at a file tells of it beside its content. A change of the file, or another file in
/// its place, changes the state, except within one tick of its times.
struct FileState {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    std::uint64_t size = 0;
    std::chrono::nanoseconds written{};  // since 1970, both
    std::chrono::nanoseconds changed{};

    bool operator==(const FileState& other) const {
        return device == other.device && number == other.number && size == other.size &&
               written == other.written && changed == other.changed;
    }
};

/// False when that cannot be told. No state: there is no such file.
bool look(const std::filesystem::path& file, std::optional<FileState>& state);

/// None when there is no such folder. One that is a link, another user's or open to others is
/// refused, as are files below. While it is open, no other one takes its place.
Descriptor openFolder(const std::filesystem::path& folder);

/// Makes the folder, and those above it, if it is missing. They are closed to others.
Descriptor openOrMakeFolder(const std::filesystem::path& folder);

/// One whose parent exists. One that is there already will do.
void makeFolder(const std::filesystem::path& folder);

struct PrivateFile {
    Descriptor descriptor;  // none when there is no such file and none was to be made
    FileState state;        // when it was opened
};

enum class Opening : std::uint8_t {
    present,  // for reading
    made,     // when it is missing, and for writing, too
};

/// Opens the regular file `file`, which lies in `folder`.
PrivateFile openFile(const Descriptor& folder, const std::filesystem::path& file, Opening opening);

/// At most that many bytes, and none at its end.
std::size_t readSome(const Descriptor& opened, const std::filesystem::path& file,
                     std::uint8_t* bytes, std::size_t most);

/// Removes the file as a whole: when this returns, as far as the system can tell, from the disk.
void removeFile(const Descriptor& folder, const std::filesystem::path& file);

}  // namespace standalone::detail
