#include "host/standalone/detail/TemporaryFile.h"

#include <fmt/format.h>

#include <string_view>
#include <tuple>

namespace fs = std::filesystem;

namespace standalone::detail {

namespace {

constexpr auto temporaryEnding = ".tmp";

fs::path temporaryPrefix(const fs::path& file) {
    fs::path prefix(".");
    prefix += file.filename();
    prefix += ".";
    return prefix;
}

}  // namespace

fs::path temporaryName(const fs::path& file, const RandomBytes& random) {
    fs::path name = temporaryPrefix(file);
    name += fmt::format("{:02x}", fmt::join(random, ""));
    name += temporaryEnding;
    return name;
}

bool isTemporaryName(const fs::path& name, const fs::path& file) {
    const fs::path prefix = temporaryPrefix(file);
    const fs::path ending(temporaryEnding);
    const std::basic_string_view<fs::path::value_type> text(name.native());
    const auto begin = prefix.native().size();
    const auto end = begin + 2 * std::tuple_size_v<RandomBytes>;
    return text.size() == end + ending.native().size() &&
           text.substr(0, begin) == prefix.native() && text.substr(end) == ending.native();
}

}  // namespace standalone::detail
