#pragma once

#include "tool/Settings.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// The user's file of profiles: a section for each profile, with keys named like the long options,
/// and a key `default-profile` above them. The file is only read.
class ConfigFile {
public:
    /// The user's file; empty if there is none. Throws UsageError, with file and line, if anything
    /// in it is invalid, even in a profile that is not used.
    static ConfigFile load();

    /// The path of the file, even if there is none.
    const std::filesystem::path& location() const { return m_path; }
    /// In the order of the file.
    std::vector<std::string> profiles() const;
    /// Empty if there is none.
    const std::string& defaultProfile() const { return m_default; }
    /// Where the default profile is set, for people.
    const std::string& defaultSource() const { return m_defaultSource; }
    /// Throws UsageError if there is no such profile.
    const Layer& profile(const std::string& name) const;

private:
    class Reader;

    std::filesystem::path m_path;
    std::string m_default;
    std::string m_defaultSource;
    std::vector<std::pair<std::string, Layer>> m_profiles;
};

}  // namespace tool
