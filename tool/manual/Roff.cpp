#include "tool/manual/Roff.h"

#include "tool/Filling.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <sstream>

namespace manual {

namespace {

constexpr std::size_t lineWidth = 72;

/// A line that begins with a point or an apostrophe would be a request.
std::string guarded(const std::string& line) {
    return line.empty() || (line.front() != '.' && line.front() != '\'') ? line : "\\&" + line;
}

bool isLetter(char character) {
    return std::isalpha(static_cast<unsigned char>(character)) != 0;
}

bool isUpper(char character) {
    return std::isupper(static_cast<unsigned char>(character)) != 0;
}

std::string running(const std::string& word) {
    const auto start = word.find_first_not_of('-');
    if (start == 0 || start == std::string::npos || !isLetter(word[start])) {
        std::string text;
        for (const char character : word) {
            text += character == '\\'  ? "\\e"
                    : character == '~' ? "\\(ti"
                                       : std::string(1, character);
        }
        return text;
    }
    const auto end = std::find_if(word.begin() + static_cast<std::ptrdiff_t>(start), word.end(),
                                  [](char letter) { return !isLetter(letter) && letter != '-'; });
    return bold({word.begin(), end}) + std::string(end, word.end());
}

bool endsSentence(const std::string& word, const std::string& next) {
    return word.back() == '.' && isUpper(next.front());
}

void addLines(std::string& text, const std::string& sentence) {
    for (const std::string& line : tool::filled(sentence, lineWidth)) {
        text += guarded(line) + '\n';
    }
}

}  // namespace

std::string code(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '\\':
                escaped += "\\e";
                break;
            case '-':
                escaped += "\\-";
                break;
            case '\'':
                escaped += "\\(aq";
                break;
            case '`':
                escaped += "\\(ga";
                break;
            case '^':
                escaped += "\\(ha";
                break;
            case '~':
                escaped += "\\(ti";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

std::string bold(const std::string& text) {
    return "\\fB" + code(text) + "\\fP";
}

std::string italic(const std::string& text) {
    return "\\fI" + code(text) + "\\fP";
}

std::string prose(const std::string& text) {
    std::string lines;
    std::string sentence;
    std::string last;
    std::istringstream words(text);
    for (std::string word; words >> word; last = word) {
        if (!last.empty() && endsSentence(last, word)) {
            addLines(lines, sentence);
            sentence.clear();
        }
        sentence += ' ' + running(word);
    }
    addLines(lines, sentence);
    return lines;
}

std::string example(const std::string& lines) {
    std::string text = ".RS 4\n.EX\n";
    std::istringstream input(lines);
    for (std::string line; std::getline(input, line);) {
        text += guarded(code(line)) + '\n';
    }
    return text + ".EE\n.RE\n";
}

}  // namespace manual
