#pragma once

#include "host/HttpTypes.h"

#include <cpprest/asyncrt_utils.h>
#include <cpprest/uri.h>

#include <map>
#include <string>

namespace test {

/// The HTTP library's text is wide on Windows, so it cannot be invalid UTF-8.
constexpr bool isWide = sizeof(utility::char_t) > 1;

using utility::conversions::to_string_t;
using utility::conversions::to_utf8string;

inline std::string urlEncoded(const std::string& text) {
    return to_utf8string(web::uri::encode_data_string(to_string_t(text)));
}

inline unsigned short portOf(const std::string& url) {
    return static_cast<unsigned short>(web::uri(to_string_t(url)).port());
}

inline std::map<std::string, std::string> queryOf(const std::string& text) {
    std::map<std::string, std::string> fields;
    for (const auto& [name, value] : web::uri::split_query(to_string_t(text))) {
        fields[to_utf8string(name)] = to_utf8string(value);
    }
    return fields;
}

}  // namespace test
