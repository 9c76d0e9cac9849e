#pragma once

#include "tool/manual/Description.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace manual {

/// What only a page says: sections of man(7) text, each behind a line with its title in brackets. A
/// line `@NAME` stands for the text in NAME.part, which several pages have.
class PageText {
public:
    /// Throws std::runtime_error for a file that cannot be read.
    explicit PageText(const std::filesystem::path& file);

    /// The section's text; empty where there is none.
    std::string section(const std::string& title) const;
    /// The sections that are peculiar to the page, in their order: the others have these titles.
    std::vector<std::pair<std::string, std::string>> sectionsBut(
        const std::vector<std::string>& titles) const;

    /// Throws std::runtime_error where it names an option or a subcommand that there is not.
    void checkNames(const Description& command) const;

private:
    std::filesystem::path m_file;
    std::vector<std::pair<std::string, std::string>> m_sections;
};

}  // namespace manual
