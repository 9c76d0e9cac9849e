#pragma once

#include <filesystem>

namespace tool {

/// The environment variables with the user's folders, and the paths below the home directory to use
/// if they are not set.
struct FolderNames {
    const char* home;
    const char* state;
    std::filesystem::path stateBelowHome;
    const char* config;
    std::filesystem::path configBelowHome;
    const char* usualConfigFile;  ///< as people write it
};

FolderNames folderNames();

}  // namespace tool
