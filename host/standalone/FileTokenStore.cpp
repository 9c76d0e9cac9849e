#include "host/standalone/FileTokenStore.h"

#include "host/standalone/detail/PrivateFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace fs = std::filesystem;

namespace standalone {

using namespace detail;

namespace {

using Bytes = std::vector<std::uint8_t>;

bool operator==(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

void synchronize(const Descriptor& descriptor, const fs::path& path) {
    // EINVAL: a file system whose folders need no fsync.
    if (uninterrupted([&] { return ::fsync(descriptor.get()); }) != 0 && errno != EINVAL) {
        failSystem(path, "cannot be brought to the disk");
    }
}

PrivateFile openRecord(const Descriptor& folder, const fs::path& file) {
    auto record = openFile(folder, file, O_RDONLY);
    if (record.size() > SecretFile::maxSize) {
        refuse(file, "is too large for a token; remove it or use another path");
    }
    return record;
}

Bytes readAll(const PrivateFile& record, const fs::path& file) {
    Bytes bytes(record.size());
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto count = uninterrupted([&] {
            return ::read(record.descriptor.get(), bytes.data() + done, bytes.size() - done);
        });
        if (count < 0) {
            failSystem(file, "cannot be read");
        }
        if (count == 0) {
            refuse(file, "was cut while it was read; sign in again");
        }
        done += static_cast<std::size_t>(count);
    }
    return bytes;
}

constexpr std::size_t temporaryRandomBytes = 16;
constexpr std::string_view temporaryEnding = ".tmp";

std::string temporaryPrefix(const fs::path& file) {
    return "." + file.filename().string() + ".";
}

std::string newTemporaryName(const fs::path& file) {
    std::array<unsigned char, temporaryRandomBytes> random{};
    if (::getentropy(random.data(), random.size()) != 0) {
        failSystem(file, "no random name can be had");
    }
    return fmt::format("{}{:02x}{}", temporaryPrefix(file), fmt::join(random, ""), temporaryEnding);
}

bool isTemporaryName(std::string_view name, const fs::path& file) {
    const std::string prefix = temporaryPrefix(file);
    return name.size() == prefix.size() + 2 * temporaryRandomBytes + temporaryEnding.size() &&
           name.substr(0, prefix.size()) == prefix &&
           name.substr(name.size() - temporaryEnding.size()) == temporaryEnding;
}

}  // namespace

/// The new content before it takes the record's place. Its lock tells removeAbandoned that its
/// writer lives; the system releases the lock when the writer dies, however it dies.
class detail::TemporaryFile {
public:
    TemporaryFile(Descriptor folder, fs::path file)
        : m_folder(std::move(folder)), m_file(std::move(file)) {
        // Between creation and lock, another process may take the file for abandoned: try again.
        constexpr int attempts = 16;
        for (int attempt = 0; attempt < attempts; ++attempt) {
            m_name = newTemporaryName(m_file);
            m_descriptor = openAt(m_folder.get(), m_name, O_WRONLY | O_CREAT | O_EXCL);
            if (!m_descriptor) {
                failSystem(m_file, "no new file can be made beside it");
            }
            if (lock()) {
                return;
            }
        }
        refuse(m_file, "is being written by too many at once; try again");
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!m_name.empty()) {
            ::unlinkat(m_folder.get(), m_name.c_str(), 0);
        }
    }

    const Descriptor& folder() const { return m_folder; }

    void reserve(std::size_t size) {
        int error = EINTR;
        while (error == EINTR) {
            error = ::posix_fallocate(m_descriptor.get(), 0, static_cast<off_t>(size));
        }
        // There are file systems that reserve nothing.
        if (error != 0 && error != EINVAL && error != EOPNOTSUPP) {
            failSystem(m_file, "cannot be written", error);
        }
    }

    void write(const Bytes& bytes) {
        std::size_t done = 0;
        while (done < bytes.size()) {
            const auto count = uninterrupted([&] {
                return ::write(m_descriptor.get(), bytes.data() + done, bytes.size() - done);
            });
            if (count < 0) {
                failSystem(m_file, "cannot be written");
            }
            done += static_cast<std::size_t>(count);
        }
        // What is left of a reservation is no part of the record.
        if (::ftruncate(m_descriptor.get(), static_cast<off_t>(bytes.size())) != 0) {
            failSystem(m_file, "cannot be written");
        }
        synchronize(m_descriptor, m_file);
    }

    void replaceRecord() {
        if (::renameat(m_folder.get(), m_name.c_str(), m_folder.get(), m_file.filename().c_str()) !=
            0) {
            failSystem(m_file, "cannot be replaced");
        }
        m_name.clear();
    }

private:
    bool lock() const {
        if (::flock(m_descriptor.get(), LOCK_EX | LOCK_NB) != 0) {
            return errno != EWOULDBLOCK;  // where there are no locks nobody takes the file away
        }
        struct stat status {};
        return ::fstat(m_descriptor.get(), &status) == 0 && status.st_nlink > 0;
    }

    Descriptor m_folder;
    fs::path m_file;
    std::string m_name;
    Descriptor m_descriptor;
};

namespace {

/// Removes what killed writers left: it holds secrets. Best effort, and never waits.
void removeAbandoned(const Descriptor& folder, const fs::path& file) {
    // An open file description of its own: the entries are read from its position.
    const int entries = ::openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(entries), ::closedir);
    if (!listing) {
        return;
    }
    while (const dirent* const entry = ::readdir(listing.get())) {
        const std::string name = static_cast<const char*>(entry->d_name);
        if (!isTemporaryName(name, file)) {
            continue;
        }
        // For writing: some network file systems lock nothing else.
        const auto opened = openAt(folder.get(), name, O_RDWR);
        if (opened && ::flock(opened.get(), LOCK_EX | LOCK_NB) == 0) {
            ::unlinkat(folder.get(), name.c_str(), 0);
        }
    }
}

}  // namespace

/// What was read, and from which file in which state.
struct SecretFile::Remembered {
    Bytes bytes;
    std::optional<struct stat> status;  // none when there was no file

    /// Whether it still is what lies there. One look that opens nothing: whatever has changed is
    /// for a read to judge.
    bool isOf(const fs::path& file) const {
        struct stat now {};
        if (::lstat(file.c_str(), &now) != 0) {
            return errno == ENOENT && !status;
        }
        return status && now.st_dev == status->st_dev && now.st_ino == status->st_ino &&
               now.st_size == status->st_size && now.st_mtim == status->st_mtim &&
               now.st_ctim == status->st_ctim;
    }

    /// Whether a write from `begin` on is sure to leave another state. Times of files move in
    /// steps, and the number of a file that was replaced may be given to its next but one
    /// successor: of a file that has just changed, the next change may not show.
    bool tellsChangesAfter(std::chrono::system_clock::time_point begin) const {
        using namespace std::chrono;
        if (!status) {
            return true;
        }
        const timespec& changed = status->st_ctim;
        // The kernel's steps are 10 ms at most; a file system without fractions has steps of 2 s.
        const milliseconds step = changed.tv_nsec == 0 ? milliseconds(2000) : milliseconds(20);
        return begin.time_since_epoch() - seconds(changed.tv_sec) - nanoseconds(changed.tv_nsec) >
               step;
    }
};

SecretFile::SecretFile(const fs::path& file)
    : m_file(absoluteFile(file)), m_folder(m_file.parent_path()) {}

SecretFile::~SecretFile() = default;

void SecretFile::clear() {
    const std::lock_guard lock(m_mutex);
    m_remembered.reset();
    const auto folder = openFolder(m_folder);
    if (!folder) {
        return;
    }
    removeAbandoned(folder, m_file);
    if (::unlinkat(folder.get(), m_file.filename().c_str(), 0) == 0) {
        synchronize(folder, m_folder);
    } else if (errno != ENOENT) {
        failSystem(m_file, "cannot be removed");
    }
}

Bytes SecretFile::read(bool reread) {
    const std::lock_guard lock(m_mutex);
    if (!reread && m_remembered && m_remembered->isOf(m_file)) {
        return m_remembered->bytes;
    }
    m_remembered.reset();  // a read that fails says that the record is not what it was
    const auto begin = std::chrono::system_clock::now();
    Remembered latest;
    if (const auto folder = openFolder(m_folder)) {
        if (const auto record = openRecord(folder, m_file); record.descriptor) {
            latest.bytes = readAll(record, m_file);
            latest.status = record.status;
        }
    }
    Bytes bytes = latest.bytes;
    if (latest.tellsChangesAfter(begin)) {
        m_remembered = std::make_unique<const Remembered>(std::move(latest));
    }
    return bytes;
}

void SecretFile::write(const Bytes& bytes) {
    const std::lock_guard lock(m_mutex);
    m_remembered.reset();
    if (bytes.size() > maxSize) {
        refuse(m_file, "is not written: the secret is too large for a token");
    }
    const auto temporary = m_prepared ? std::move(m_prepared) : makeTemporary();
    openRecord(temporary->folder(), m_file);  // what may not be read is not replaced either
    temporary->write(bytes);
    temporary->replaceRecord();
    synchronize(temporary->folder(), m_folder);
}

void SecretFile::prepareWrite() {
    // What takes the place of a record is about as large; the first one is a few kilobytes.
    constexpr std::size_t smallest = std::size_t{64} * 1024;
    const std::lock_guard lock(m_mutex);
    m_prepared.reset();
    auto temporary = makeTemporary();
    const auto present = openRecord(temporary->folder(), m_file).size();
    temporary->reserve(std::max(smallest, 2 * present));
    m_prepared = std::move(temporary);
}

std::unique_ptr<TemporaryFile> SecretFile::makeTemporary() const {
    auto folder = openOrMakeFolder(m_folder);
    removeAbandoned(folder, m_file);
    return std::make_unique<TemporaryFile>(std::move(folder), m_file);
}

}  // namespace standalone
