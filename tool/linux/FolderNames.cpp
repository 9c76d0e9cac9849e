#include "tool/FolderNames.h"

namespace tool {

FolderNames folderNames() {
    return {"HOME",         "XDG_STATE_HOME",
            ".local/state", "XDG_CONFIG_HOME",
            ".config",      "~/.config/oidcauth/config.toml"};
}

}  // namespace tool
