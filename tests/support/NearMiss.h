#pragma once

#include "tests/support/Common.h"

#include <cctype>

namespace test {

inline std::string inOtherCase(std::string text) {
    const auto letter = std::find_if(text.begin(), text.end(), [](char each) {
        return std::isalpha(static_cast<unsigned char>(each)) != 0;
    });
    *letter = static_cast<char>(*letter ^ 0x20);
    return text;
}

using NearMiss = std::pair<const char*, std::function<std::string(const std::string&)>>;

/// Texts that a careless comparison takes for this one, which must contain a letter.
inline const std::vector<NearMiss>& nearMisses() {
    static const std::vector<NearMiss> all = {
        {"its beginning", [](const auto& text) { return text.substr(0, text.size() - 1); }},
        {"its end", [](const auto& text) { return text.substr(1); }},
        {"one character more", [](const auto& text) { return text + 'x'; }},
        {"one character before", [](const auto& text) { return 'x' + text; }},
        {"nothing", [](const auto&) { return std::string(); }},
        {"other case", inOtherCase},
    };
    return all;
}

}  // namespace test
