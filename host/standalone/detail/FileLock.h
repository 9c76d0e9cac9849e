#pragma once

#include "host/standalone/detail/PrivateFile.h"

#include <filesystem>

namespace standalone::detail {

/// A lock on an open file. It is released when this object is destroyed or the process ends.
class FileLock {
public:
    FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    explicit operator bool() const noexcept { return static_cast<bool>(m_held); }

    /// Never waits. Returns false while the lock is held through another opening of the file, in
    /// this process or elsewhere.
    bool tryTake(Descriptor opened, const std::filesystem::path& file);

private:
    Descriptor m_held;
    long m_process = 0;  // the process that took it
};

}  // namespace standalone::detail
