#include "tool/TokenReport.h"

#include "host/standalone/LogSinks.h"
#include "tool/Output.h"
#include "tool/TokenClaims.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <vector>

namespace tool {

namespace {

using utility::conversions::to_utf8string;
using Lines = std::vector<std::string>;

/// Values that providers and users choose must not harm a terminal.
void add(Lines& lines, const std::string& name, const std::string& value) {
    lines.push_back(standalone::redact(fmt::format("{:<14} {}", name, value)));
}

bool isTime(const utility::string_t& claim) {
    const std::array names{_XPLATSTR("exp"), _XPLATSTR("iat"), _XPLATSTR("nbf"),
                           _XPLATSTR("auth_time")};
    return std::find(names.begin(), names.end(), claim) != names.end();
}

void addClaims(Lines& lines, const std::string& title, const CString& token) {
    const auto claims = claimsOf(token);
    if (!claims.is_object()) {
        return;
    }
    lines.push_back(title);
    for (const auto& [name, value] : claims.as_object()) {
        const auto time = isTime(name) ? timeClaim(claims, name) : std::nullopt;
        add(lines, "  " + to_utf8string(name),
            time                ? timestamp(*time)
            : value.is_string() ? to_utf8string(value.as_string())
                                : to_utf8string(value.serialize()));
    }
}

}  // namespace

web::json::value reportOf(auth::COIDCToken token, const std::string& store) {
    using web::json::value;
    auto report = value::object(true);
    report[_XPLATSTR("client_id")] = jsonText(token.clientId().toUtf8());
    report[_XPLATSTR("scopes")] = jsonList(token.scopes());
    report[_XPLATSTR("expires_at")] = jsonText(timestamp(token.expiresAt()));
    report[_XPLATSTR("expired")] = value::boolean(token.willBeExpiredAfter(0));
    report[_XPLATSTR("refreshable")] = value::boolean(!token.refreshToken().IsEmpty());
    report[_XPLATSTR("store")] = jsonText(store);
    report[_XPLATSTR("id_token_claims")] = claimsOf(token.idToken());
    report[_XPLATSTR("access_token_claims")] = claimsOf(token.accessToken());
    return report;
}

std::string textOf(auth::COIDCToken token, const std::string& store) {
    Lines lines;
    add(lines, "client", token.clientId().toUtf8());
    add(lines, "scopes", token.scopes().toUtf8());
    add(lines, "access token",
        (token.willBeExpiredAfter(0) ? "expired " : "valid until ") + timestamp(token.expiresAt()));
    add(lines, "refresh token", token.refreshToken().IsEmpty() ? "none" : "kept");
    add(lines, "store", store);
    addClaims(lines, "claims of the ID token", token.idToken());
    addClaims(lines, "claims of the access token", token.accessToken());
    return fmt::format("{}", fmt::join(lines, "\n"));
}

}  // namespace tool
