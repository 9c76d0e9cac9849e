#pragma once

#include "tests/support/Common.h"
#include "tests/support/Wide.h"

namespace test {

/// The claims of a JWT, as JSON text.
inline std::string payloadOf(const std::string& jwt) {
    const auto begin = jwt.find('.') + 1;
    std::string text = jwt.substr(begin, jwt.find('.', begin) - begin);
    std::replace(text.begin(), text.end(), '-', '+');
    std::replace(text.begin(), text.end(), '_', '/');
    text.append((4 - text.size() % 4) % 4, '=');
    const auto bytes = utility::conversions::from_base64(to_string_t(text));
    return {bytes.begin(), bytes.end()};
}

}  // namespace test
