#pragma once

#include "host/standalone/detail/PrivateFile.h"

#include <filesystem>

namespace standalone::detail {

/// A lock on an open file that ends with this object, or with its process.
class FileLock {
public:
    FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    explicit operator bool() const noexcept { return static_cast<bool>(m_held); }

    /// Never waits. False while another opening of the file has it, in this process or elsewhere.
    bool tryTake(Descriptor opened, const std::filesystem::path& file);

private:
    Descriptor m_held;
    long m_process = 0;  // that took it
};

}  // namespace standalone::detail
