#include "host/standalone/FilePermit.h"

#include "host/standalone/detail/PrivateFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <utility>

namespace fs = std::filesystem;

namespace standalone {

using namespace detail;

namespace {

class FilePermitLock final : public auth::IPermitLock {
public:
    explicit FilePermitLock(fs::path file) : m_file(std::move(file)) {}
    FilePermitLock(const FilePermitLock&) = delete;
    FilePermitLock& operator=(const FilePermitLock&) = delete;
    ~FilePermitLock() override {
        // Closing alone would not do where a forked process has the descriptor too, and in such a
        // process the permit is not ours to give back.
        if (m_held && m_holder == ::getpid()) {
            ::flock(m_held.get(), LOCK_UN);
        }
    }

    bool tryLock() override {
        if (m_held) {
            return true;
        }
        const auto folder = openOrMakeFolder(m_file.parent_path());
        // For writing, since some network file systems lock nothing else. Opened anew each time:
        // the lock belongs to the opening, and so excludes others of this process as well.
        auto opened = openFile(folder, m_file, O_RDWR | O_CREAT).descriptor;
        if (uninterrupted([&] { return ::flock(opened.get(), LOCK_EX | LOCK_NB); }) == 0) {
            m_held = std::move(opened);
            m_holder = ::getpid();
        } else if (errno != EWOULDBLOCK) {
            failSystem(m_file, "cannot be locked");
        }
        return static_cast<bool>(m_held);
    }

private:
    fs::path m_file;
    Descriptor m_held;
    pid_t m_holder = 0;
};

}  // namespace

std::shared_ptr<FilePermit> FilePermit::make(const fs::path& lockFile) {
    auto permit = std::make_shared<FilePermit>();
    permit->m_file = absoluteFile(lockFile);
    return permit;
}

std::unique_ptr<auth::IPermitLock> FilePermit::createLock() {
    return std::make_unique<FilePermitLock>(m_file);
}

fs::path lockFileOf(const fs::path& store) {
    fs::path file = store;
    file += ".lock";
    return file;
}

}  // namespace standalone
