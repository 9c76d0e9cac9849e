#include "tool/FolderNames.h"

namespace tool {

/// Profiles roam with the user between machines. Tokens do not, because they can be read on one
/// machine only.
FolderNames folderNames() {
    return {"USERPROFILE", "LOCALAPPDATA",     "AppData\\Local",
            "APPDATA",     "AppData\\Roaming", R"(%APPDATA%\oidcauth\config.toml)"};
}

}  // namespace tool
