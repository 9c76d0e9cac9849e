#include "host/standalone/detail/PrivateFile.h"

#include "host/standalone/TokenStoreError.h"
#include "host/standalone/detail/PathText.h"

#include <fmt/format.h>

#include <system_error>

namespace fs = std::filesystem;

namespace standalone::detail {

namespace {

void makeFolders(const fs::path& folder) {
    const fs::path parent = folder.parent_path();
    std::error_code ignored;  // creating the folder reports the error better
    if (parent != folder && !fs::exists(parent, ignored)) {
        makeFolders(parent);
    }
    makeFolder(folder);
}

}  // namespace

void refuse(const fs::path& path, std::string_view why) {
    throw TokenStoreError(fmt::format("token store {}: {}", textOf(path), why));
}

void failSystem(const fs::path& path, std::string_view what, int error) {
    refuse(path, fmt::format("{}: {}", what, textOfError(error)));
}

void refuseOpenToOthers(const fs::path& path, std::string_view remedy) {
    refuse(path, fmt::format("is open to other users; {}, and sign in again if someone else may "
                             "have read or written the token",
                             remedy));
}

fs::path absoluteFile(const fs::path& file) {
    std::error_code error;
    fs::path absolute = fs::absolute(file, error).lexically_normal();
    if (error || !absolute.has_filename()) {
        refuse(file, "is not the path of a file");
    }
    return absolute;
}

Descriptor openOrMakeFolder(const fs::path& folder) {
    auto opened = openFolder(folder);
    if (!opened) {
        makeFolders(folder);
        opened = openFolder(folder);
    }
    if (!opened) {
        refuse(folder, "was removed meanwhile; try again");
    }
    return opened;
}

}  // namespace standalone::detail
