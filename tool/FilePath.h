#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// A path given as an option, which is UTF-8 on every system.
class FilePath : public std::filesystem::path {
public:
    FilePath() = default;
    explicit FilePath(const std::string& utf8) : path(std::filesystem::u8path(utf8)) {}
};

}  // namespace tool
