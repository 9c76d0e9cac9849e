#include "tool/TokenOutput.h"

#include <cpprest/json.h>
#include <fmt/chrono.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <vector>

namespace tool {

namespace {

/// RFC 3339, whole seconds.
std::string timestamp(auth::COIDCToken::TimePoint time) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time.time_since_epoch());
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time_t{seconds.count()}));
}

web::json::value jsonText(const std::string& utf8) {
    return web::json::value::string(utility::conversions::to_string_t(utf8));
}

web::json::value jsonList(const CString& scopes) {
    std::vector<web::json::value> list;
    for (int position = 0; position >= 0 && position < scopes.GetLength();) {
        list.push_back(jsonText(scopes.Tokenize(" ", position).toUtf8()));
    }
    return web::json::value::array(list);
}

std::string jsonObject(auth::COIDCToken& token) {
    auto object = web::json::value::object(true);
    object[_XPLATSTR("access_token")] = jsonText(token.accessToken().toUtf8());
    object[_XPLATSTR("expires_at")] = jsonText(timestamp(token.expiresAt()));
    object[_XPLATSTR("scopes")] = jsonList(token.scopes());
    return utility::conversions::to_utf8string(object.serialize());
}

}  // namespace

void printToken(auth::COIDCToken token, bool json, std::ostream& out) {
    out << (json ? jsonObject(token) : token.accessToken().toUtf8()) << '\n' << std::flush;
    if (!out) {
        throw std::system_error(errno, std::generic_category(), "cannot write the token");
    }
}

}  // namespace tool
