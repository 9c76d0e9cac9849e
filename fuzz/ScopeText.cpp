#include "fuzz/Documented.h"
#include "fuzz/Flows.h"
#include "fuzz/Provider.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

// The input is the scopes that a token is requested for, a newline, and the scopes to check in it.

namespace {

using Words = std::set<CString::String>;

/// Only a flow makes a token from a text.
auth::COIDCToken tokenFor(const CString& scopes) {
    static auto& flow = fuzz::clientCredentials();
    fuzz::Answer answer;
    answer.body = R"({"token_type":"Bearer","access_token":"token","expires_in":60})";
    fuzz::replay({answer});
    return flow
        .requestTokenAsync(fuzz::clientId, "secret", scopes,
                           Concurrency::cancellation_token::none())
        .get();
}

/// The scopes of a text, parsed a second time.
Words wordsOf(const CString& text) {
    const std::string utf8 = text.toUtf8();
    std::istringstream stream(utf8);
    Words words;
    for (std::string word; std::getline(stream, word, ' ');) {
        if (!word.empty()) {
            words.insert(CString::String(CString(word).view()));
        }
    }
    const bool endsEmpty = utf8.size() >= 2 && utf8.substr(utf8.size() - 2) == "  ";
    if (endsEmpty && !words.empty()) {
        words.emplace();
    }
    return words;
}

CString joined(const Words& words) {
    CString::String text;
    for (const auto& word : words) {
        text += word;
        text += ' ';
    }
    return CString(text.substr(0, std::max<std::size_t>(text.size(), 1) - 1));
}

bool includes(const Words& all, const Words& some) {
    return std::includes(all.begin(), all.end(), some.begin(), some.end());
}

void check(const CString& granted, const CString& asked) {
    auth::COIDCToken token = tokenFor(granted);
    const CString text = token.scopes();
    const Words words = wordsOf(granted);
    fuzz::require(text == joined(words));
    fuzz::require(token.validateScopes(granted) && token.validateScopes(text));
    fuzz::require(token.validateScopes(asked) == includes(words, wordsOf(asked)));

    // The text of a token gives the same token, except for a scope without a name.
    Words named = words;
    named.erase(CString::String());
    fuzz::require(tokenFor(text).scopes() == joined(named));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t line = std::min(input.find('\n'), input.size());
    CString granted;
    CString asked;
    const bool isText = fuzz::completes<std::range_error>([&] {
        granted = input.substr(0, line);
        asked = input.substr(std::min(line + 1, input.size()));
        (granted + asked).toUtf8();  // no half surrogate pairs
    });
    if (isText) {
        check(granted, asked);
    }
    return 0;
}
