#include "host/standalone/detail/FileLock.h"

#include "host/standalone/windows/Handle.h"

#include <windows.h>

#include <utility>

namespace standalone::detail {

FileLock::~FileLock() {
    if (m_held) {
        // Closing releases the lock as well, but not always at once.
        OVERLAPPED place{};
        ::UnlockFileEx(handleOf(m_held), 0, 1, 0, &place);
    }
}

bool FileLock::tryTake(Descriptor opened, const std::filesystem::path& file) {
    OVERLAPPED place{};
    if (::LockFileEx(handleOf(opened), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                     &place) != 0) {
        m_held = std::move(opened);
    } else if (::GetLastError() != ERROR_LOCK_VIOLATION && ::GetLastError() != ERROR_IO_PENDING) {
        failSystem(file, "cannot be locked");
    }
    return static_cast<bool>(m_held);
}

}  // namespace standalone::detail
