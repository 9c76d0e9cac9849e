#pragma once

#include "platform/Export.h"
#include "platform/Tasks.h"

#include <cpprest/http_msg.h>

#include <functional>

namespace auth::detail {

/// Fetches a document within the limits of HttpExchange: the command must not read more, or wait
/// longer, than the library does. Not installed. `checkHead` sees the answer before its body has
/// arrived, and ends the exchange by throwing.
OIDCAUTH_API Concurrency::task<web::http::http_response> fetch(
    const web::uri& url, const Concurrency::cancellation_token& token,
    std::function<void(const web::http::http_response&)> checkHead);

}  // namespace auth::detail
