#pragma once

#include <filesystem>

namespace tool {

/// The variables of the environment in which a system has the user's folders, and where below the
/// home directory these are if it has not.
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
