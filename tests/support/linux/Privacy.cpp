#include "tests/support/Privacy.h"

namespace fs = std::filesystem;

namespace {

constexpr auto others = fs::perms::group_all | fs::perms::others_all;

}  // namespace

void test::openToOthers(const fs::path& path) {
    fs::permissions(path, fs::perms::others_read, fs::perm_options::add);
}

void test::closeToOthers(const fs::path& path) {
    fs::permissions(path, others, fs::perm_options::remove);
}

bool test::isClosedToOthers(const fs::path& path) {
    return (fs::symlink_status(path).permissions() & others) == fs::perms::none;
}
