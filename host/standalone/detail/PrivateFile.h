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

/// These throw TokenStoreError.
[[noreturn]] void refuse(const std::filesystem::path& path, std::string_view why);
[[noreturn]] void failSystem(const std::filesystem::path& path, std::string_view what,
                             int error = lastError());
[[noreturn]] void refuseOpenToOthers(const std::filesystem::path& path, std::string_view remedy);

/// A relative path is resolved against the current folder at the time of the call.
std::filesystem::path absoluteFile(const std::filesystem::path& file);

/// An open file of the system: a file descriptor, or a handle.
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

/// The attributes of a file. If the file changes or is replaced by another one, its state changes,
/// except within one tick of the file times.
struct FileState {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    std::uint64_t size = 0;
    std::chrono::nanoseconds written{};  // both since 1970
    std::chrono::nanoseconds changed{};

    bool operator==(const FileState& other) const {
        return device == other.device && number == other.number && size == other.size &&
               written == other.written && changed == other.changed;
    }
};

/// Returns false if the state cannot be determined. `state` is empty if there is no such file.
bool look(const std::filesystem::path& file, std::optional<FileState>& state);

/// Empty if there is no such folder. A folder that is a link, belongs to another user or is open to
/// others is refused; so are the files below. While the result is open, nobody can make openFile()
/// use another folder in its place.
Descriptor openFolder(const std::filesystem::path& folder);

/// Creates the folder and its parents if they are missing. They are closed to others.
Descriptor openOrMakeFolder(const std::filesystem::path& folder);

/// Creates one folder, whose parent exists. It may already be there.
void makeFolder(const std::filesystem::path& folder);

struct PrivateFile {
    Descriptor descriptor;  // none if there is no such file and it was not to be created
    FileState state;        // at the time of opening
};

enum class Opening : std::uint8_t {
    present,  // for reading
    made,     // created if it is missing; for writing, too
};

/// Opens the regular file `file` in `folder`.
PrivateFile openFile(const Descriptor& folder, const std::filesystem::path& file, Opening opening);

/// Reads at most that many bytes; 0 at the end of the file.
std::size_t readSome(const Descriptor& opened, const std::filesystem::path& file,
                     std::uint8_t* bytes, std::size_t most);

/// Removes the whole file: when this returns, it is removed from the disk as far as the system can
/// tell.
void removeFile(const Descriptor& folder, const std::filesystem::path& file);

}  // namespace standalone::detail
