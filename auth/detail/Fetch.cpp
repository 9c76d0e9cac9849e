#include "auth/detail/Fetch.h"

#include "auth/detail/HttpExchange.h"

#include <utility>

namespace auth::detail {

Concurrency::task<web::http::http_response> fetch(
    const web::uri& url, const Concurrency::cancellation_token& token,
    std::function<void(const web::http::http_response&)> checkHead) {
    return HttpExchange().send({url, {}, {}}, token, std::move(checkHead));
}

}  // namespace auth::detail
