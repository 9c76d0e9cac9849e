#include "host/standalone/detail/PrivateFile.h"

#include "host/standalone/linux/Posix.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace standalone::detail {
namespace {

constexpr mode_t fileMode = 0600;
constexpr mode_t folderMode = 0700;
constexpr mode_t otherUsers = 0077;

/// Examines the open file and not the path, which may by now name something else.
struct stat requirePrivate(const Descriptor& descriptor, const fs::path& path, mode_t mode) {
    struct stat status {};
    if (::fstat(number(descriptor), &status) != 0) {
        failSystem(path, "cannot be examined");
    }
    if (status.st_uid != ::geteuid()) {
        refuse(path, "belongs to another user; use a path of your own");
    }
    if ((status.st_mode & otherUsers) != 0) {
        refuseOpenToOthers(path, fmt::format("set its mode to {:04o}", mode));
    }
    return status;
}

std::chrono::nanoseconds sinceEpoch(const timespec& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

FileState stateOf(const struct stat& status) {
    return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
            sinceEpoch(status.st_mtim), sinceEpoch(status.st_ctim)};
}

}  // namespace

void Descriptor::close(Value value) noexcept {
    ::close(static_cast<int>(value));
}

Descriptor openAt(int folder, const fs::path& path, int flags) {
    flags |= O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
    return Descriptor(
        uninterrupted([&] { return ::openat(folder, path.c_str(), flags, fileMode); }));
}

void synchronize(const Descriptor& descriptor, const fs::path& path) {
    // EINVAL: on this file system folders need no fsync.
    if (uninterrupted([&] { return ::fsync(number(descriptor)); }) != 0 && errno != EINVAL) {
        failSystem(path, "cannot be flushed to disk");
    }
}

bool look(const fs::path& file, std::optional<FileState>& state) {
    struct stat status {};
    state.reset();
    if (::lstat(file.c_str(), &status) != 0) {
        return errno == ENOENT;
    }
    state = stateOf(status);
    return true;
}

Descriptor openFolder(const fs::path& folder) {
    auto opened = openAt(AT_FDCWD, folder, O_RDONLY | O_DIRECTORY);
    if (opened) {
        requirePrivate(opened, folder, folderMode);
    } else if (errno == ELOOP || errno == ENOTDIR) {
        refuse(folder, "is a symbolic link or no folder; use the path of a real folder");
    } else if (errno != ENOENT) {
        failSystem(folder, "cannot be opened");
    }
    return opened;
}

void makeFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), folderMode) == 0) {
        const fs::path parent = folder.parent_path();
        // Best effort: a parent that cannot be read cannot be synchronized.
        if (const Descriptor opened(::open(parent.c_str(), O_RDONLY | O_CLOEXEC)); opened) {
            ::fsync(number(opened));
        }
    } else if (errno != EEXIST) {
        failSystem(folder, "the folder cannot be created");
    }
}

PrivateFile openFile(const Descriptor& folder, const fs::path& file, Opening opening) {
    // Opened for writing: some network file systems lock only such files.
    const int flags = opening == Opening::made ? O_RDWR | O_CREAT : O_RDONLY;
    PrivateFile opened{openAt(number(folder), file.filename(), flags), {}};
    if (!opened.descriptor) {
        if (errno == ENOENT && opening == Opening::present) {
            return opened;
        }
        if (errno == ELOOP) {
            refuse(file, "is a symbolic link; remove it or use the path of a real file");
        }
        failSystem(file, "cannot be opened");
    }
    const auto status = requirePrivate(opened.descriptor, file, fileMode);
    if (!S_ISREG(status.st_mode)) {
        refuse(file, "is not a regular file; remove it or use another path");
    }
    opened.state = stateOf(status);
    return opened;
}

std::size_t readSome(const Descriptor& opened, const fs::path& file, std::uint8_t* bytes,
                     std::size_t most) {
    const auto count = uninterrupted([&] { return ::read(number(opened), bytes, most); });
    if (count < 0) {
        failSystem(file, "cannot be read");
    }
    return static_cast<std::size_t>(count);
}

void removeFile(const Descriptor& folder, const fs::path& file) {
    if (::unlinkat(number(folder), file.filename().c_str(), 0) == 0) {
        synchronize(folder, file.parent_path());
    } else if (errno != ENOENT) {
        failSystem(file, "cannot be removed");
    }
}

}  // namespace standalone::detail
