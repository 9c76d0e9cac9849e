#pragma once

#include "auth/detail/Error.h"

#include <cpprest/details/basic_types.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace auth::detail {

/// What a provider says about a failure (RFC 6749, sections 4.1.2.1 and 5.2). Anybody may have sent
/// it, with any content.
struct ProviderWords {
    std::string error;
    std::string description;  // empty if there is no error
};

/// Reads the body of a token endpoint's answer, which should be a JSON object. Empty if it is not
/// one, or is not UTF-8. Throws only if there is no memory.
ProviderWords wordsOfAnswer(const std::vector<unsigned char>& body);

/// Reads the fields of a posted form, which are still encoded; otherwise as above.
ProviderWords wordsOfForm(const std::map<utility::string_t, utility::string_t>& fields);

/// The text in a form that can be shown to people: at most 256 characters, without those that
/// control a terminal, end a line or change the writing direction. Empty if the text is not UTF-8.
std::string showable(std::string_view text);

/// The same failure, with the provider's error texts added.
Error withWords(const Error& failure, const ProviderWords& words);

}  // namespace auth::detail
