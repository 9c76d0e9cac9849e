#include "tool/OtherWriters.h"

#include <system_error>

namespace tool {

std::optional<std::string> remedyForOtherWriters(const std::filesystem::path& file) {
    using std::filesystem::perms;
    const auto others = perms::group_write | perms::others_write;
    std::error_code error;  // if the file is gone, reading it reports that
    const auto mode = std::filesystem::status(file, error).permissions();
    return mode == perms::unknown || (mode & others) == perms::none
               ? std::nullopt
               : std::make_optional<std::string>("set its mode to 0644");
}

}  // namespace tool
