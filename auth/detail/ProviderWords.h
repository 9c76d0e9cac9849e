#pragma once

#include "auth/detail/Error.h"

#include <cpprest/details/basic_types.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace auth::detail {

/// What a provider says about a failure (RFC 6749, sections 4.1.2.1 and 5.2). Anybody may have sent
/// it, and may have put anything into it.
struct ProviderWords {
    std::string error;
    std::string description;  // none without an error
};

/// Of the body of a token endpoint's answer: a JSON object. What is none, or no UTF-8, gives
/// nothing. Never throws, unless there is no memory.
ProviderWords wordsOfAnswer(const std::vector<unsigned char>& body);

/// Of the fields of a posted form, which are still encoded; as above.
ProviderWords wordsOfForm(const std::map<utility::string_t, utility::string_t>& fields);

/// As people may be shown it: at most 256 characters, without those that control a terminal, end a
/// line or turn the direction of writing. Nothing of what is no UTF-8.
std::string showable(std::string_view text);

/// The same failure, with what the provider says of it.
Error withWords(const Error& failure, const ProviderWords& words);

}  // namespace auth::detail
