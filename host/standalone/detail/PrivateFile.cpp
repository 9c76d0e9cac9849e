#include "host/standalone/detail/PrivateFile.h"

#include "host/standalone/TokenStoreError.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace standalone::detail {
namespace {

constexpr mode_t fileMode = 0600;
constexpr mode_t folderMode = 0700;
constexpr mode_t otherUsers = 0077;

/// Looks at what was opened and not at the path, which may name something else by now.
struct stat requirePrivate(const Descriptor& descriptor, const fs::path& path, mode_t mode) {
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0) {
        failSystem(path, "cannot be examined");
    }
    if (status.st_uid != ::geteuid()) {
        refuse(path, "belongs to another user; use a path of your own");
    }
    if ((status.st_mode & otherUsers) != 0) {
        refuse(path, fmt::format("is open to other users; set its mode to {:04o}, and sign in "
                                 "again if someone else may have read or written the token",
                                 mode));
    }
    return status;
}

void makeFolder(const fs::path& folder) {
    const fs::path parent = folder.parent_path();
    std::error_code ignored;  // mkdir says it better
    if (parent != folder && !fs::exists(parent, ignored)) {
        makeFolder(parent);
    }
    if (::mkdir(folder.c_str(), folderMode) == 0) {
        // Best effort: a parent that may not be read cannot be synchronized.
        if (const Descriptor opened(::open(parent.c_str(), O_RDONLY | O_CLOEXEC)); opened) {
            ::fsync(opened.get());
        }
    } else if (errno != EEXIST) {
        failSystem(folder, "the folder cannot be made");
    }
}

}  // namespace

void refuse(const fs::path& path, std::string_view why) {
    throw TokenStoreError(fmt::format("token store {}: {}", path.string(), why));
}

void failSystem(const fs::path& path, std::string_view what, int error) {
    refuse(path, fmt::format("{}: {}", what, std::system_category().message(error)));
}

Descriptor::Descriptor(Descriptor&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

Descriptor::~Descriptor() {
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

Descriptor openAt(int folder, const fs::path& path, int flags) {
    flags |= O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
    return Descriptor(
        uninterrupted([&] { return ::openat(folder, path.c_str(), flags, fileMode); }));
}

fs::path absoluteFile(const fs::path& file) {
    std::error_code error;
    fs::path absolute = fs::absolute(file, error).lexically_normal();
    if (error || !absolute.has_filename()) {
        refuse(file, "is not the path of a file");
    }
    return absolute;
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

Descriptor openOrMakeFolder(const fs::path& folder) {
    auto opened = openFolder(folder);
    if (!opened) {
        makeFolder(folder);
        opened = openFolder(folder);
    }
    if (!opened) {
        failSystem(folder, "cannot be opened", ENOENT);
    }
    return opened;
}

PrivateFile openFile(const Descriptor& folder, const fs::path& file, int flags) {
    PrivateFile opened{openAt(folder.get(), file.filename(), flags)};
    if (!opened.descriptor) {
        if (errno == ENOENT && (flags & O_CREAT) == 0) {
            return opened;
        }
        if (errno == ELOOP) {
            refuse(file, "is a symbolic link; remove it or use the path of a real file");
        }
        failSystem(file, "cannot be opened");
    }
    opened.status = requirePrivate(opened.descriptor, file, fileMode);
    if (!S_ISREG(opened.status.st_mode)) {
        refuse(file, "is not a regular file; remove it or use another path");
    }
    return opened;
}

}  // namespace standalone::detail
