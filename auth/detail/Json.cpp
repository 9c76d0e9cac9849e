#include "auth/detail/Json.h"

#include "auth/detail/Text.h"
#include "auth/detail/Waiting.h"

#include <utility>

namespace auth::detail {

Concurrency::task<web::json::value> sendForJson(HttpExchange& http, const HttpRequest& request,
                                                const Concurrency::cancellation_token& token,
                                                HttpExchange::CheckHead checkHead) {
    return orFailed([&] {
        return http.send(request, token, std::move(checkHead))
            .then([](const web::http::http_response& response) {
                return response.extract_json(false);
            });
    });
}

CString textMember(const web::json::value& object, const utility::char_t* name) {
    return fromHttpText(object.at(name).as_string());
}

}  // namespace auth::detail
