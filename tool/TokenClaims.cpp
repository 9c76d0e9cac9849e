#include "tool/TokenClaims.h"

#include <chrono>
#include <cstdint>

namespace tool {

std::optional<auth::COIDCToken::TimePoint> timeClaim(const web::json::value& claims,
                                                     const utility::string_t& name) {
    constexpr std::int64_t endOfYear9999 = 253'402'300'799;
    if (!claims.has_number_field(name)) {
        return std::nullopt;
    }
    const double seconds = claims.at(name).as_double();
    if (!(seconds >= 0 && seconds <= static_cast<double>(endOfYear9999))) {
        return std::nullopt;
    }
    return auth::COIDCToken::TimePoint(std::chrono::seconds(static_cast<std::int64_t>(seconds)));
}

std::string userOf(const auth::COIDCToken& token) {
    const auto claims = token.idTokenClaims();
    for (const auto& name : {claims.preferredUsername(), claims.email(), claims.subject()}) {
        if (name) {
            return *name;
        }
    }
    return "(a user without a name)";
}

}  // namespace tool
