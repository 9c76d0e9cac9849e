#include "host/standalone/detail/TemporaryFile.h"

#include "host/standalone/linux/Posix.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

namespace fs = std::filesystem;

namespace standalone::detail {

namespace {

fs::path newTemporaryName(const fs::path& file) {
    RandomBytes random{};
    if (::getentropy(random.data(), random.size()) != 0) {
        failSystem(file, "no random name can be generated");
    }
    return temporaryName(file, random);
}

/// Returns false if another process has already taken the file for abandoned.
bool lockOwn(const Descriptor& descriptor) {
    if (::flock(number(descriptor), LOCK_EX | LOCK_NB) != 0) {
        return errno != EWOULDBLOCK;  // without locks nobody removes the file
    }
    struct stat status {};
    return ::fstat(number(descriptor), &status) == 0 && status.st_nlink > 0;
}

}  // namespace

TemporaryFile::TemporaryFile(Descriptor folder, fs::path file)
    : m_folder(std::move(folder)), m_file(std::move(file)) {
    // Between creation and lock, another process may take the file for abandoned: then try again.
    constexpr int attempts = 16;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        m_name = newTemporaryName(m_file);
        m_descriptor = openAt(number(m_folder), m_name, O_WRONLY | O_CREAT | O_EXCL);
        if (!m_descriptor) {
            failSystem(m_file, "no temporary file can be created beside it");
        }
        if (lockOwn(m_descriptor)) {
            return;
        }
    }
    refuse(m_file, "is being written by too many processes at once; try again");
}

TemporaryFile::~TemporaryFile() {
    if (!m_name.empty()) {
        ::unlinkat(number(m_folder), m_name.c_str(), 0);
    }
}

void TemporaryFile::reserve(std::size_t size) {
    int error = EINTR;
    while (error == EINTR) {
        error = ::posix_fallocate(number(m_descriptor), 0, static_cast<off_t>(size));
    }
    // Some file systems cannot reserve space.
    if (error != 0 && error != EINVAL && error != EOPNOTSUPP) {
        failSystem(m_file, "cannot be written", error);
    }
}

void TemporaryFile::write(const std::vector<std::uint8_t>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto count = uninterrupted([&] {
            return ::write(number(m_descriptor), bytes.data() + done, bytes.size() - done);
        });
        if (count < 0) {
            failSystem(m_file, "cannot be written");
        }
        done += static_cast<std::size_t>(count);
    }
    // The rest of a reservation does not belong to the record.
    if (::ftruncate(number(m_descriptor), static_cast<off_t>(bytes.size())) != 0) {
        failSystem(m_file, "cannot be written");
    }
    synchronize(m_descriptor, m_file);
}

void TemporaryFile::replaceRecord() {
    if (::renameat(number(m_folder), m_name.c_str(), number(m_folder), m_file.filename().c_str()) !=
        0) {
        failSystem(m_file, "cannot be replaced");
    }
    m_name.clear();
    synchronize(m_folder, m_file.parent_path());
}

void removeAbandoned(const Descriptor& folder, const fs::path& file) {
    // A separate open file description: the entries are read from its position.
    const int entries = ::openat(number(folder), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(entries), ::closedir);
    if (!listing) {
        return;
    }
    while (const dirent* const entry = ::readdir(listing.get())) {
        const fs::path name = static_cast<const char*>(entry->d_name);
        if (!isTemporaryName(name, file)) {
            continue;
        }
        // Opened for writing: some network file systems lock only such files.
        const auto opened = openAt(number(folder), name, O_RDWR);
        if (opened && ::flock(number(opened), LOCK_EX | LOCK_NB) == 0) {
            ::unlinkat(number(folder), name.c_str(), 0);
        }
    }
}

}  // namespace standalone::detail
