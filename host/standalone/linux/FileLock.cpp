#include "host/standalone/detail/FileLock.h"

#include "host/standalone/linux/Posix.h"

#include <sys/file.h>
#include <unistd.h>

#include <utility>

namespace standalone::detail {

FileLock::~FileLock() {
    // Closing alone is not enough if a forked process has the descriptor, too; and in such a
    // process the lock is not ours to release.
    if (m_held && m_process == ::getpid()) {
        ::flock(number(m_held), LOCK_UN);
    }
}

bool FileLock::tryTake(Descriptor opened, const std::filesystem::path& file) {
    if (uninterrupted([&] { return ::flock(number(opened), LOCK_EX | LOCK_NB); }) == 0) {
        m_held = std::move(opened);
        m_process = ::getpid();
    } else if (errno != EWOULDBLOCK) {
        failSystem(file, "cannot be locked");
    }
    return static_cast<bool>(m_held);
}

}  // namespace standalone::detail
