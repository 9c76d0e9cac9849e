#include "auth/detail/TokenEndpoint.h"

#include "auth/detail/Clock.h"
#include "auth/detail/Text.h"

#include <limits>

namespace auth::detail {

namespace {

// Three tokens and a few numbers fit: anything larger is not an answer to such a request.
constexpr utility::size64_t largestTokenAnswer = utility::size64_t{256} * 1024;

}  // namespace

HttpRequest formRequest(const CString& tokenEndpoint, const FormBody& form) {
    const web::uri endpoint(toHttpText(tokenEndpoint));
    HttpRequest request;
    request.target = web::uri_builder(endpoint.authority()).set_path(endpoint.path()).to_uri();
    request.headers.set_content_type(_XPLATSTR("application/x-www-form-urlencoded"));
    request.body = form.text();
    request.largestAnswer = largestTokenAnswer;
    request.hearsRefusal = true;
    return request;
}

void requireBearer(const web::json::value& answer, const LoggerPtr& logger) {
    if (answer.at(_XPLATSTR("token_type")).as_string() != _XPLATSTR("Bearer")) {
        fail(logger, {Kind::wrongAnswer, "invalid token type"}, L"Token type is not 'Bearer'.");
    }
}

int expiresIn(const web::json::value& answer) {
    using Limits = std::numeric_limits<int>;
    const web::json::number& seconds = answer.at(_XPLATSTR("expires_in")).as_number();
    const double value = seconds.to_double();
    // Converting such a double would be undefined behaviour.
    if (!seconds.is_integral() && !(value > Limits::min() - 1.0 && value < Limits::max() + 1.0)) {
        return Limits::min();
    }
    return seconds.to_int32();
}

COIDCToken::TimePoint expiry(int expiresInSeconds) {
    return now() + std::chrono::seconds(expiresInSeconds);
}

}  // namespace auth::detail
