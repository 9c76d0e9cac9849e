#include "auth/detail/TokenEndpoint.h"

#include "auth/detail/Clock.h"
#include "auth/detail/Text.h"

#include <limits>
#include <utility>

namespace auth::detail {

using web::http::http_response;

HttpRequest formRequest(const CString& tokenEndpoint, const FormBody& form) {
    const web::uri endpoint(toHttpText(tokenEndpoint));
    HttpRequest request;
    request.target = web::uri_builder(endpoint.authority()).set_path(endpoint.path()).to_uri();
    request.headers.set_content_type(_XPLATSTR("application/x-www-form-urlencoded"));
    request.body = form.text();
    return request;
}

Concurrency::task<web::json::value> sendForJson(HttpExchange& http, const HttpRequest& request,
                                                const Concurrency::cancellation_token& token,
                                                HttpExchange::CheckHead checkHead) {
    return http.send(request, token, std::move(checkHead)).then([](const http_response& response) {
        return response.extract_json(false);
    });
}

void requireBearer(const web::json::value& answer, const LoggerPtr& logger) {
    if (answer.at(_XPLATSTR("token_type")).as_string() != _XPLATSTR("Bearer")) {
        fail(logger, "invalid token type", L"Token type is not 'Bearer'.");
    }
}

int expiresIn(const web::json::value& answer) {
    using Limits = std::numeric_limits<int>;
    const web::json::number& seconds = answer.at(_XPLATSTR("expires_in")).as_number();
    const double value = seconds.to_double();
    // The conversion of such a double is undefined.
    if (!seconds.is_integral() && !(value > Limits::min() - 1.0 && value < Limits::max() + 1.0)) {
        return Limits::min();
    }
    return seconds.to_int32();
}

COIDCToken::TimePoint expiry(int expiresInSeconds) {
    return now() + std::chrono::seconds(expiresInSeconds);
}

}  // namespace auth::detail
