#include "tool/FolderNames.h"

namespace tool {

/// Profiles go with a user who has them on several machines. Tokens stay, as they can be read on
/// one machine only.
FolderNames folderNames() {
    return {"USERPROFILE", "LOCALAPPDATA",     "AppData\\Local",
            "APPDATA",     "AppData\\Roaming", R"(%APPDATA%\oidcauth\config.toml)"};
}

}  // namespace tool
