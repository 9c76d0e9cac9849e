#include "tool/OtherWriters.h"

namespace tool {

std::optional<std::string> remedyForOtherWriters(const std::filesystem::path& file) {
    using std::filesystem::perms;
    const auto others = perms::group_write | perms::others_write;
    return (std::filesystem::status(file).permissions() & others) == perms::none
               ? std::nullopt
               : std::make_optional<std::string>("set its mode to 0644");
}

}  // namespace tool
