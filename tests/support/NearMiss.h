#pragma once

#include <cctype>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// What a careless comparison takes for the same text; the text has a letter in front of others.
inline const std::vector<std::pair<const char*, std::function<std::string(std::string)>>>&
nearMisses() {
    static const std::vector<std::pair<const char*, std::function<std::string(std::string)>>> all =
        {
            {"its beginning",
             [](const std::string& text) { return text.substr(0, text.size() - 1); }},
            {"its end", [](const std::string& text) { return text.substr(1); }},
            {"one character more", [](const std::string& text) { return text + 'x'; }},
            {"one character before", [](const std::string& text) { return 'x' + text; }},
            {"nothing", [](const std::string&) { return std::string(); }},
            {"other case",
             [](std::string text) {
                 for (char& each : text) {
                     if (std::isalpha(static_cast<unsigned char>(each)) != 0) {
                         each = static_cast<char>(each ^ 0x20);
                         break;
                     }
                 }
                 return text;
             }},
        };
    return all;
}

}  // namespace test
