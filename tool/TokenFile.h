#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// A file from which programs read a token. Only its user can read it, and it is never half
/// written: each text replaces the previous one in one step.
///
/// If several processes write the same file, each text is complete. On Windows a file cannot be
/// replaced while a reader has it open; writing then waits for some seconds. All members throw
/// std::system_error, and UsageError if the path names something other than a regular file.
class TokenFile {
public:
    /// Throws if the folder does not exist.
    explicit TokenFile(const std::filesystem::path& file);

    /// When it returns, the text is on the disk.
    void replace(const std::string& text) const;

    const std::filesystem::path& path() const { return m_file; }

private:
    std::filesystem::path m_file;
};

/// A folder that only this user can access. The destructor removes it with its content.
class PrivateFolder {
public:
    /// Created in the folder of the user's session, or else with the temporary files.
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

}  // namespace tool
