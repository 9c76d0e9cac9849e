#include "tool/UserFolders.h"

#include "tool/Environment.h"
#include "tool/FolderNames.h"

namespace tool {

namespace {

using std::filesystem::path;

/// A path that is not absolute is ignored, as in other programs.
std::optional<path> folderIn(const char* name) {
    const path folder = std::filesystem::u8path(variable(name));
    return folder.is_absolute() ? std::make_optional(folder) : std::nullopt;
}

std::optional<path> ownFolder(const char* variable, const path& belowHome) {
    auto base = folderIn(variable);
    if (!base) {
        const auto home = folderIn(folderNames().home);
        if (!home) {
            return std::nullopt;
        }
        base = *home / belowHome;
    }
    return *base / "oidcauth";
}

}  // namespace

std::optional<path> stateFolder() {
    return ownFolder(folderNames().state, folderNames().stateBelowHome);
}

std::optional<path> configFolder() {
    return ownFolder(folderNames().config, folderNames().configBelowHome);
}

path withHome(const path& given) {
    const auto home = folderIn(folderNames().home);
    auto part = given.begin();
    if (!home || part == given.end() || *part != "~" || ++part == given.end()) {
        return given;
    }
    path replaced = *home;
    for (; part != given.end(); ++part) {
        replaced /= *part;
    }
    return replaced;
}

}  // namespace tool
