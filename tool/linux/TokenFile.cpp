#include "tool/TokenFile.h"

#include "tool/Environment.h"
#include "tool/ExitCode.h"
#include "tool/linux/Descriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr mode_t fileMode = 0600;

[[noreturn]] void fail(const fs::path& path, const std::string& what, int error = errno) {
    throw std::system_error(error, std::generic_category(), path.string() + ": " + what);
}

int openFolder(const fs::path& folder) {
    const int opened = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0) {
        fail(folder, "the folder cannot be opened");
    }
    return opened;
}

/// An existing file will be replaced, so it must not be a device, for example.
void requireReplaceable(const Descriptor& folder, const fs::path& file) {
    struct stat status {};
    if (::fstatat(folder.get(), file.filename().c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        !S_ISREG(status.st_mode)) {
        throw UsageError(file.string() + " is not a regular file");
    }
}

void synchronize(const Descriptor& descriptor, const fs::path& path) {
    // EINVAL: a file system whose folders need no fsync.
    if (::fsync(descriptor.get()) != 0 && errno != EINVAL) {
        fail(path, "cannot be flushed to disk");
    }
}

void writeAll(const Descriptor& descriptor, std::string_view text, const fs::path& path) {
    while (!text.empty()) {
        const auto count = ::write(descriptor.get(), text.data(), text.size());
        if (count < 0 && errno != EINTR) {
            fail(path, "cannot be written");
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

/// The temporary file beside the token file. Its lock makes writers take turns. It always has the
/// same name, so that killed writers leave at most one.
class Successor {
public:
    Successor(const Descriptor& folder, const fs::path& file)
        : m_folder(folder),
          m_file(file),
          m_name("." + file.filename().string() + ".oidcauth"),
          m_descriptor(::openat(folder.get(), m_name.c_str(),
                                O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                                fileMode)) {
        if (m_descriptor.get() < 0) {
            fail(file, "no temporary file can be created beside it");
        }
    }

    Successor(const Successor&) = delete;
    Successor& operator=(const Successor&) = delete;
    ~Successor() {
        if (m_isOurs) {
            ::unlinkat(m_folder.get(), m_name.c_str(), 0);
        }
    }

    /// Returns false if another writer has moved this file to its destination meanwhile.
    bool take() {
        if (::flock(m_descriptor.get(), LOCK_EX) != 0 && errno != ENOLCK && errno != EOPNOTSUPP) {
            return false;
        }
        struct stat opened {};
        struct stat present {};
        if (::fstat(m_descriptor.get(), &opened) != 0 ||
            ::fstatat(m_folder.get(), m_name.c_str(), &present, AT_SYMLINK_NOFOLLOW) != 0 ||
            opened.st_dev != present.st_dev || opened.st_ino != present.st_ino) {
            return false;
        }
        if (!S_ISREG(opened.st_mode) || opened.st_uid != ::geteuid() || opened.st_nlink != 1) {
            fail(m_file, m_name + " beside it is not this user's own file", EPERM);
        }
        m_isOurs = true;
        return true;
    }

    void write(const std::string& text) {
        if (::fchmod(m_descriptor.get(), fileMode) != 0 ||
            ::ftruncate(m_descriptor.get(), 0) != 0) {
            fail(m_file, "cannot be written");
        }
        writeAll(m_descriptor, text, m_file);
        synchronize(m_descriptor, m_file);
        if (::renameat(m_folder.get(), m_name.c_str(), m_folder.get(), m_file.filename().c_str()) !=
            0) {
            fail(m_file, "cannot be replaced");
        }
        m_isOurs = false;
    }

private:
    const Descriptor& m_folder;
    const fs::path& m_file;
    const std::string m_name;
    const Descriptor m_descriptor;
    bool m_isOurs = false;
};

fs::path sessionFolder() {
    const fs::path runtime = variable("XDG_RUNTIME_DIR");
    // Without a session of its own, as in a job, the folder may belong to another user, or be gone.
    const bool isUsable = runtime.is_absolute() && ::access(runtime.c_str(), W_OK | X_OK) == 0;
    return isUsable ? runtime : fs::temp_directory_path();
}

}  // namespace

TokenFile::TokenFile(const fs::path& file) : m_file(fs::absolute(file)) {
    if (!m_file.has_filename()) {
        throw UsageError(file.string() + " is not a regular file");
    }
    requireReplaceable(Descriptor(openFolder(m_file.parent_path())), m_file);
}

void TokenFile::replace(const std::string& text) const {
    // Opened anew each time: the folder may have been replaced.
    const Descriptor folder(openFolder(m_file.parent_path()));
    requireReplaceable(folder, m_file);
    // A writer that waited for another one finds that its file has been moved to its destination.
    constexpr int attempts = 16;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        Successor successor(folder, m_file);
        if (successor.take()) {
            successor.write(text);
            synchronize(folder, m_file.parent_path());
            return;
        }
    }
    fail(m_file, "is being written by too many processes at once", EBUSY);
}

PrivateFolder::PrivateFolder() {
    std::string name = sessionFolder() / "oidcauth-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        fail(name, "cannot be created");
    }
    m_path = name;
}

PrivateFolder::~PrivateFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

}  // namespace tool
