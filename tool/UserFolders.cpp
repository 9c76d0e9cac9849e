#include "tool/UserFolders.h"

#include "tool/Environment.h"

#include <string>

namespace tool {

namespace {

using std::filesystem::path;

/// One that is not absolute does not count, as in other programs.
std::optional<path> folderIn(const char* name) {
    const path folder(variable(name));
    return folder.is_absolute() ? std::make_optional(folder) : std::nullopt;
}

std::optional<path> ownFolder(const char* variable, const path& belowHome) {
    auto base = folderIn(variable);
    if (!base) {
        const auto home = folderIn("HOME");
        if (!home) {
            return std::nullopt;
        }
        base = *home / belowHome;
    }
    return *base / "oidcauth";
}

}  // namespace

std::optional<path> stateFolder() {
    return ownFolder("XDG_STATE_HOME", path(".local") / "state");
}

std::optional<path> configFolder() {
    return ownFolder("XDG_CONFIG_HOME", ".config");
}

path withHome(const path& given) {
    const auto home = folderIn("HOME");
    const std::string text = given.string();
    return home && text.rfind("~/", 0) == 0 ? *home / text.substr(2) : given;
}

}  // namespace tool
