#include "tool/Table.h"

#include "host/standalone/LogSinks.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

namespace tool {

namespace {

using Style = Table::Style;

constexpr std::size_t gap = 2;
/// If there is less room, the terminal breaks the lines, and they stay readable.
constexpr std::size_t leastRoom = 20;
/// A provider may have hundreds of scopes; --json prints them all.
constexpr std::size_t mostLines = 4;
constexpr std::string_view cutMark = " ...";

bool isStartOfCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

/// In characters, which all count as equally wide.
std::size_t lengthOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isStartOfCharacter));
}

/// The number of bytes of the first `characters` characters.
std::size_t bytesOf(std::string_view text, std::size_t characters) {
    std::size_t bytes = 0;
    while (bytes < text.size() && (characters > 0 || !isStartOfCharacter(text[bytes]))) {
        characters -= isStartOfCharacter(text[bytes]) ? 1 : 0;
        ++bytes;
    }
    return bytes;
}

/// Where to break a word that is too long: in a URL, preferably between its parts.
std::size_t cutOf(const std::string& word, std::size_t room) {
    const std::size_t end = bytesOf(word, room);
    const std::size_t part = word.find_last_of("/?&", end - 1);
    return part != std::string::npos && part > end / 2 ? part : end;
}

std::vector<std::string> brokenLines(const std::string& text, std::size_t room) {
    std::vector<std::string> lines(1);
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        std::string& line = lines.back();
        if (!line.empty() && lengthOf(line) + 1 + lengthOf(word) <= room) {
            line += ' ' + word;
            continue;
        }
        if (!line.empty()) {
            lines.emplace_back();
        }
        while (lengthOf(word) > room) {
            const std::size_t cut = cutOf(word, room);
            lines.back() = word.substr(0, cut);
            lines.emplace_back();
            word.erase(0, cut);
        }
        lines.back() = word;
    }
    return lines;
}

std::vector<std::string> linesOf(const std::string& text, std::size_t width, std::size_t start) {
    if (width == 0) {
        return {text};
    }
    const std::size_t room = std::max(width, start + leastRoom) - start;
    auto lines = brokenLines(text, room);
    if (lines.size() > mostLines) {
        lines.resize(mostLines);
        lines.back().resize(bytesOf(lines.back(), room - cutMark.size()));
        lines.back() += cutMark;
    }
    return lines;
}

std::string_view colourOf(Style style) {
    switch (style) {
        case Style::heading:
            return "\x1b[1m";
        case Style::good:
            return "\x1b[32m";
        case Style::fair:
            return "\x1b[33m";
        case Style::bad:
            return "\x1b[1;31m";
        case Style::plain:
            break;
    }
    return {};
}

std::string painted(const std::string& text, Style style, bool isColoured) {
    const auto colour = isColoured ? colourOf(style) : std::string_view();
    return colour.empty() || text.empty() ? text : std::string(colour) + text + "\x1b[0m";
}

}  // namespace

void Table::add(std::vector<Cell> row) {
    for (Cell& cell : row) {
        cell.text = standalone::redact(cell.text);
    }
    m_rows.push_back(std::move(row));
}

std::vector<std::size_t> Table::columnWidths() const {
    std::vector<std::size_t> widths;
    for (const auto& row : m_rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            widths[i] = std::max(widths[i], lengthOf(row[i].text));
        }
    }
    return widths;
}

std::string Table::text(std::size_t width, bool isColoured) const {
    const auto widths = columnWidths();
    std::string text;
    for (const auto& row : m_rows) {
        std::string line;
        std::size_t start = 0;
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            line += painted(row[i].text, row[i].style, isColoured) +
                    std::string(widths[i] + gap - lengthOf(row[i].text), ' ');
            start += widths[i] + gap;
        }
        for (const auto& part : linesOf(row.back().text, width, start)) {
            text += line + painted(part, row.back().style, isColoured) + '\n';
            line = std::string(start, ' ');
        }
    }
    text.resize(text.empty() ? 0 : text.size() - 1);
    return text;
}

}  // namespace tool
