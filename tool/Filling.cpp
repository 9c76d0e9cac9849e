#include "tool/Filling.h"

#include <cstddef>
#include <sstream>

namespace tool {

std::vector<std::string> filled(const std::string& text, std::size_t width) {
    std::vector<std::string> lines;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (!lines.empty() && lines.back().size() + 1 + word.size() <= width) {
            lines.back() += ' ' + word;
        } else {
            lines.push_back(word);
        }
    }
    return lines;
}

}  // namespace tool
