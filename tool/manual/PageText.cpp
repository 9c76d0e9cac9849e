#include "tool/manual/PageText.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>
#include <stdexcept>

namespace manual {

namespace {

/// The lines of a file; a line `@NAME` is replaced by the lines of NAME.part beside it.
std::vector<std::string> linesOf(const std::filesystem::path& file) {
    std::ifstream input(file);
    if (!input) {
        throw std::runtime_error(file.string() + ": cannot be read");
    }
    std::vector<std::string> lines;
    for (std::string line; std::getline(input, line);) {
        if (line.rfind('@', 0) == 0) {
            const auto part = linesOf(file.parent_path() / (line.substr(1) + ".part"));
            lines.insert(lines.end(), part.begin(), part.end());
        } else {
            lines.push_back(line);
        }
    }
    return lines;
}

/// Titles are in capital letters: an example may have a line in brackets, too.
bool isTitle(const std::string& line) {
    return line.size() > 2 && line.front() == '[' && line.back() == ']' &&
           line.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ -", 1) == line.size() - 1;
}

}  // namespace

PageText::PageText(const std::filesystem::path& file) : m_file(file) {
    for (const std::string& line : linesOf(file)) {
        if (isTitle(line)) {
            m_sections.emplace_back(line.substr(1, line.size() - 2), "");
        } else if (!m_sections.empty()) {
            m_sections.back().second += line + '\n';
        }
    }
}

std::string PageText::section(const std::string& title) const {
    const auto found = std::find_if(m_sections.begin(), m_sections.end(),
                                    [&title](const auto& part) { return part.first == title; });
    return found == m_sections.end() ? "" : found->second;
}

std::vector<std::pair<std::string, std::string>> PageText::sectionsBut(
    const std::vector<std::string>& titles) const {
    std::vector<std::pair<std::string, std::string>> others;
    std::copy_if(m_sections.begin(), m_sections.end(), std::back_inserter(others),
                 [&titles](const auto& part) {
                     return std::find(titles.begin(), titles.end(), part.first) == titles.end();
                 });
    return others;
}

void PageText::checkNames(const Description& command) const {
    std::set<std::string> known;
    const auto addOptions = [&known](const Description& part) {
        for (const tool::OptionFacts& option : part.options()) {
            known.insert(option.names.begin(), option.names.end());
        }
    };
    addOptions(command);
    for (const Description& part : command.subcommands) {
        addOptions(part);
        known.insert(command.name + '-' + part.name);
    }
    const std::regex names("(?:--|\\b" + command.name + "-)[a-z]+(?:-[a-z]+)*(?= \\(1\\)|[^a-z(])");
    for (const auto& [title, lines] : m_sections) {
        const std::string text = std::regex_replace(lines, std::regex("\\\\-"), "-");
        for (std::sregex_iterator name(text.begin(), text.end(), names), end; name != end; ++name) {
            const std::string word = name->str();
            const bool isPage = name->suffix().str().rfind(" (1)", 0) == 0;
            if ((word.front() == '-' || isPage) && known.count(word) == 0) {
                throw std::runtime_error(fmt::format("{}: [{}] names {}, which does not exist",
                                                     m_file.string(), title, word));
            }
        }
    }
}

}  // namespace manual
