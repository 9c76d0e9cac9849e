#pragma once

#include "auth/detail/HttpExchange.h"
#include "host/CString.h"

#include <cpprest/json.h>

namespace auth::detail {

/// Sends the request and gives the JSON answer. `checkHead` as for HttpExchange; never throws.
Concurrency::task<web::json::value> sendForJson(HttpExchange& http, const HttpRequest& request,
                                                const Concurrency::cancellation_token& token,
                                                HttpExchange::CheckHead checkHead);

/// A missing member, or one of another type, raises the JSON library's exception; a text that is no
/// UTF-8, which that library lets pass, std::range_error.
CString textMember(const web::json::value& object, const utility::char_t* name);

}  // namespace auth::detail
