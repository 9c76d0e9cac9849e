#pragma once

#include "tool/Settings.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// The user's own file of profiles: a section for each, with keys that are named like the long
/// options, and a key `default-profile` above them. It is only ever read.
class ConfigFile {
public:
    /// That of the user; as if empty where there is none. Throws UsageError, with file and line,
    /// for what is in it and cannot be followed, whichever profile is meant.
    static ConfigFile load();

    /// Where it is, or would be.
    const std::filesystem::path& location() const { return m_path; }
    /// In the order of the file.
    std::vector<std::string> profiles() const;
    /// Empty: none.
    const std::string& defaultProfile() const { return m_default; }
    /// Where it stands, for people.
    const std::string& defaultSource() const { return m_defaultSource; }
    /// Throws UsageError where there is no such profile.
    const Layer& profile(const std::string& name) const;

private:
    class Reader;

    std::filesystem::path m_path;
    std::string m_default;
    std::string m_defaultSource;
    std::vector<std::pair<std::string, Layer>> m_profiles;
};

}  // namespace tool
