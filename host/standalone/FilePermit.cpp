#include "host/standalone/FilePermit.h"

#include "host/standalone/detail/FileLock.h"
#include "host/standalone/detail/PrivateFile.h"

#include <utility>

namespace fs = std::filesystem;

namespace standalone {

using namespace detail;

namespace {

class FilePermitLock final : public auth::IPermitLock {
public:
    explicit FilePermitLock(fs::path file) : m_file(std::move(file)) {}

    bool tryLock() override {
        if (m_held) {
            return true;
        }
        const auto folder = openOrMakeFolder(m_file.parent_path());
        // Opened anew each time: the lock belongs to the open file, so it also excludes other locks
        // of this process.
        return m_held.tryTake(openFile(folder, m_file, Opening::made).descriptor, m_file);
    }

private:
    fs::path m_file;
    FileLock m_held;
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
