#pragma once

#include "tests/support/Common.h"

namespace test {

/// A folder of mode 0700, removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        auto name = (std::filesystem::temp_directory_path() / "oidcauth-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::system_category(), name);
        }
        m_path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const noexcept { return m_path; }

private:
    std::filesystem::path m_path;
};

}  // namespace test
