#pragma once

#include "tool/manual/Description.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace manual {

/// The hand-written text of a page: sections of man(7) text, each after a line with its title in
/// brackets. A line `@NAME` stands for the text in NAME.part, which several pages share.
class PageText {
public:
    /// Throws std::runtime_error if the file cannot be read.
    explicit PageText(const std::filesystem::path& file);

    /// The section's text; empty if there is none.
    std::string section(const std::string& title) const;
    /// The sections that only this page has, in their order: all but those with these titles.
    std::vector<std::pair<std::string, std::string>> sectionsBut(
        const std::vector<std::string>& titles) const;

    /// Throws std::runtime_error if the text names an option or a subcommand that does not exist.
    void checkNames(const Description& command) const;

private:
    std::filesystem::path m_file;
    std::vector<std::pair<std::string, std::string>> m_sections;
};

}  // namespace manual
