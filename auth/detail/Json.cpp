#include "auth/detail/Json.h"

#include "auth/detail/Text.h"
#include "auth/detail/Waiting.h"

#include <utility>

namespace auth::detail {

JsonAnswer extractJson(const web::http::http_response& answer, JsonType type) {
    // The HTTP library's extract_json() does the same, but on another thread and with a copy of the
    // result.
    return std::make_shared<web::json::value>(
        answer._get_impl()->_extract_json(type == JsonType::Any));
}

Concurrency::task<JsonAnswer> sendForJson(HttpExchange& http, const HttpRequest& request,
                                          const Concurrency::cancellation_token& token,
                                          HttpExchange::CheckHead checkHead) {
    return started([&] {
        return http.send(request, token, std::move(checkHead))
            .then([](const web::http::http_response& answer) {
                return extractJson(answer, JsonType::Json);
            });
    });
}

CString textMember(const web::json::value& object, const utility::char_t* name) {
    return fromHttpText(object.at(name).as_string());
}

}  // namespace auth::detail
