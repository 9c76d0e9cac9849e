#include "auth/detail/ProviderWords.h"

#include "host/detail/UnsafeText.h"

#include <cpprest/asyncrt_utils.h>
#include <cpprest/base_uri.h>
#include <cpprest/json.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <new>
#include <utility>

namespace auth::detail {

namespace {

constexpr std::size_t longestWords = 256;  // characters

/// Any byte but a UTF-8 continuation byte.
bool beginsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

std::string beginning(std::string text) {
    std::size_t characters = 0;
    const auto end = std::find_if(text.begin(), text.end(), [&characters](char byte) {
        return beginsCharacter(byte) && ++characters > longestWords;
    });
    text.erase(end, text.end());
    return text;
}

bool isUtf8(std::string_view text) {
    bool isValid = true;
    host::detail::replaceUnsafe(
        text, [](char32_t) { return ""; },
        [&isValid](unsigned char) {
            isValid = false;
            return "";
        });
    return isValid;
}

/// Reads members with the function that `open` returns, which takes a member's name. If something
/// cannot be opened or read, the texts are empty.
template <class Open>
ProviderWords wordsBy(const Open& open) {
    ProviderWords words;
    try {
        const auto read = open();
        words.error = showable(read(_XPLATSTR("error")));
        if (!words.error.empty()) {
            words.description = showable(read(_XPLATSTR("error_description")));
        }
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
    }
    return words;
}

}  // namespace

std::string showable(std::string_view text) {
    if (!isUtf8(text)) {
        return {};
    }
    return beginning(host::detail::replaceUnsafe(
        text, [](char32_t) { return ' '; }, [](unsigned char) { return ' '; }));
}

ProviderWords wordsOfAnswer(const std::vector<unsigned char>& body) {
    const std::string text(body.begin(), body.end());
    if (!isUtf8(text)) {  // the JSON library does not check this
        return {};
    }
    return wordsBy([&text] {
        const auto answer = web::json::value::parse(utility::conversions::to_string_t(text));
        return [answer](const utility::char_t* name) {
            return utility::conversions::to_utf8string(answer.at(name).as_string());
        };
    });
}

ProviderWords wordsOfForm(const std::map<utility::string_t, utility::string_t>& fields) {
    return wordsBy([&fields] {
        return [&fields](const utility::char_t* name) {
            utility::string_t value = fields.at(name);
            std::replace(value.begin(), value.end(), _XPLATSTR('+'), _XPLATSTR(' '));
            return utility::conversions::to_utf8string(web::uri::decode(value));
        };
    });
}

Error withWords(const Error& failure, const ProviderWords& words) {
    return {failure.kind(), failure.what(),
            Error::Details{failure.status(), words.error, words.description, {}, {}}};
}

}  // namespace auth::detail
