#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// A file for programs that read a token from one. Only its user can read it, and nobody finds it
/// half written: each text takes the place of the one before at once.
///
/// Where several processes write the same file, each text is whole. On Windows a file cannot be
/// replaced while a reader has it open, which is waited for some seconds. All members throw
/// std::system_error, and UsageError where something else than a file lies in the place.
class TokenFile {
public:
    /// Throws where the folder is not there.
    explicit TokenFile(const std::filesystem::path& file);

    /// On the disk when it returns.
    void replace(const std::string& text) const;

    const std::filesystem::path& path() const { return m_file; }

private:
    std::filesystem::path m_file;
};

/// A folder that nobody else can look into. It goes with this object, and takes along what it has.
class PrivateFolder {
public:
    /// In that of the user's session, or else with the temporary files.
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

}  // namespace tool
