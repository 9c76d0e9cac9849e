#pragma once

#include <boost/locale/utf.hpp>

#include <string>
#include <string_view>

namespace host::detail {

/// Whether a character ends lines, controls a terminal or changes the direction of writing.
constexpr bool isUnsafe(char32_t point) {
    const auto within = [point](char32_t first, char32_t last) {
        return point >= first && point <= last;
    };
    return within(0, 0x1F) || within(0x7F, 0x9F) ||             // control characters
           within(0x2028, 0x202E) || within(0x2066, 0x2069) ||  // line ends, writing directions
           within(0x200E, 0x200F) || point == 0x61C;
}

/// Returns the text with `escaped(character)` in place of each unsafe character, and
/// `replaced(byte)` in place of each byte that is not UTF-8.
template <class Escaped, class Replaced>
std::string replaceUnsafe(std::string_view text, Escaped escaped, Replaced replaced) {
    namespace utf = boost::locale::utf;
    std::string safe;
    for (const auto* at = text.begin(); at != text.end();) {
        const auto* const start = at;
        const auto point = utf::utf_traits<char>::decode(at, text.end());
        if (point == utf::illegal || point == utf::incomplete) {
            at = start + 1;
            safe += replaced(static_cast<unsigned char>(*start));
        } else if (isUnsafe(point)) {
            safe += escaped(static_cast<char32_t>(point));
        } else {
            safe.append(start, at);
        }
    }
    return safe;
}

}  // namespace host::detail
