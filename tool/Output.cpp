#include "tool/Output.h"

#include "host/detail/UnsafeText.h"

#include <fmt/chrono.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <iostream>
#include <system_error>
#include <vector>

namespace tool {

void print(const std::string& text) {
    std::cout << text << '\n';
    flushOutput();
}

void print(const web::json::value& json) {
    print(textOf(json));
}

std::string textOf(const web::json::value& json) {
    const auto escaped = [](char32_t point) {
        return fmt::format("\\u{:04x}", static_cast<unsigned>(point));
    };
    const auto replacement = [](unsigned char) { return std::string("\\ufffd"); };
    return host::detail::replaceUnsafe(utility::conversions::to_utf8string(json.serialize()),
                                       escaped, replacement);
}

void flushOutput() {
    if (!std::cout.flush()) {
        throw std::system_error(errno, std::generic_category(), "cannot write the output");
    }
}

web::json::value jsonText(const std::string& utf8) {
    return web::json::value::string(utility::conversions::to_string_t(utf8));
}

web::json::value jsonList(const CString& items) {
    std::vector<web::json::value> list;
    for (int position = 0; position >= 0 && position < items.GetLength();) {
        list.push_back(jsonText(items.Tokenize(" ", position).toUtf8()));
    }
    return web::json::value::array(list);
}

std::string timestamp(auth::COIDCToken::TimePoint time) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time.time_since_epoch());
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time_t{seconds.count()}));
}

}  // namespace tool
